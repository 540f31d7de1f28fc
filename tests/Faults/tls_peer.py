"""A TLS peer that answers each connection with given bytes and leaves, with a farewell or without; what it hears goes
to its standard output."""

import os
import socket
import ssl
import sys

certificate, answer, manner = sys.argv[1:]
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.set_ciphers("ALL:@SECLEVEL=0")
context.minimum_version = ssl.TLSVersion.TLSv1
if manner == "old":
    context.maximum_version = ssl.TLSVersion.TLSv1_1
context.load_cert_chain(certificate)
listener = socket.create_server(("127.0.0.1", 0))
print(os.getpid(), listener.getsockname()[1], flush=True)
while True:
    connection, _ = listener.accept()
    try:
        connection = context.wrap_socket(connection, server_side=True)
        print(connection.recv(65536), flush=True)
        connection.sendall(answer.encode().decode("unicode_escape").encode())
        if manner == "cut":
            os.close(connection.detach())
        else:
            connection.unwrap().close()
    except OSError:
        connection.close()
