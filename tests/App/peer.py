"""A strict service for tests: it keeps every request as it came, and answers with the least that is correct."""

import contextlib
import email.parser
import email.policy
import http.server
import io
import json
import os
import re
import subprocess
import tempfile
import threading
import time
import unittest
import wave

import numpy

VELMOR = os.environ["VELMOR"]


class Request:
    def __init__(self, handler, body):
        self.method, self.path, self.headers, self.body = handler.command, handler.path, handler.headers, body

    def mel_sequence(self):
        match = re.fullmatch(r"/ai/v1/sessions/[^/]+/mel-data/(-?\d+)", self.path)
        return int(match.group(1)) if match else None

    def file_part(self):
        """The one part of a multipart body, parsed by the standard library."""
        head = b"Content-Type: " + self.headers["Content-Type"].encode() + b"\r\n\r\n"
        message = email.parser.BytesParser(policy=email.policy.HTTP).parsebytes(head + self.body)
        (part,) = message.iter_parts()
        return part

    def mel(self):
        return numpy.load(io.BytesIO(self.file_part().get_payload(decode=True)))


class Peer(http.server.ThreadingHTTPServer):
    """`answer(request)` may return (status, JSON value) instead of the usual answer; `delay` is how long each takes."""

    daemon_threads = True

    def __init__(self, answer=lambda request: None, delay=0.0):
        super().__init__(("127.0.0.1", 0), Handler)
        self.answer = answer
        self.delay = delay
        self.requests = []
        self.url = f"http://127.0.0.1:{self.server_port}"

    def __enter__(self):
        threading.Thread(target=self.serve_forever, args=(0.02,), daemon=True).start()
        return self

    def __exit__(self, *_):
        self.shutdown()
        self.server_close()

    def uploads(self):
        return [r for r in self.requests if r.mel_sequence() is not None]

    def track(self, *options):
        return velmor("track", "--base-url", self.url, "--api-key", "secret", "--json", *options)


class Handler(http.server.BaseHTTPRequestHandler):
    def handle_one(self):
        length = self.headers.get_all("Content-Length", [])
        body = self.rfile.read(int(length[0])) if length else b""
        request = Request(self, body)
        if self.path == "/datadog/api/v2/logs":
            return self.reply(202, {})
        self.server.requests.append(request)
        time.sleep(self.server.delay)
        status, answer = self.server.answer(request) or self.usual(request)
        self.reply(status, answer)

    do_GET = do_POST = do_DELETE = handle_one

    def usual(self, request):
        if request.path == "/ai/v1/users":
            return 201, {"result": {"user_id": "U-1"}}
        if request.path.startswith("/ai/v1/users/"):
            return 200, {"result": {"user_id": request.path.rsplit("/", 1)[1]}}
        if request.path == "/ai/v1/sessions":
            return 201, {"result": {"session_id": "S-1"}}
        if request.path.startswith("/data/v3/sessions/"):
            session = {"id": "S-1", "state": "CLOSED", "start_time": "2024-03-05T23:10:01Z", "created_timezone": "UTC"}
            return 200, {"result": {"timezone": "UTC", "peculiarities": ["IN_PROGRESS"], "missing_data_ratio": 0.0,
                                    "session": session}}
        return 200, {"result": {}}

    def reply(self, status, answer):
        body = json.dumps(answer).encode()
        with contextlib.suppress(BrokenPipeError, ConnectionResetError):
            self.send_response(status)
            self.send_header("Content-Type", "application/json")
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)

    def log_message(self, *_):
        pass


class Outcome:
    def __init__(self, process):
        self.code, self.stdout, self.stderr = process.returncode, process.stdout, process.stderr

    def events(self):
        return [json.loads(line) for line in self.stdout.splitlines()]

    def names(self):
        return [event["event"] for event in self.events()]

    def summary(self):
        return self.events()[-1]


def write_wave(path, samples, rate, channels=1):
    with wave.open(path, "wb") as file:
        file.setnchannels(channels)
        file.setsampwidth(2)
        file.setframerate(rate)
        file.writeframes(numpy.asarray(samples).astype("<i2").tobytes())


class Folder(unittest.TestCase):
    """A test with a folder that goes with it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)


def environment():
    """Nothing of the developer's own settings, and a home that goes away."""
    kept = {key: value for key, value in os.environ.items() if not key.startswith("VELMOR_")}
    return kept | {"TZ": "UTC", "XDG_DATA_HOME": os.path.join(tempfile.gettempdir(), "velmor-test-data")}


def started(*arguments):
    return subprocess.Popen([VELMOR, *map(str, arguments)], env=environment(), stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, text=True)


def velmor(*arguments):
    with tempfile.TemporaryDirectory() as home:
        return Outcome(subprocess.run([VELMOR, *map(str, arguments)], capture_output=True, text=True, timeout=240,
                                      env=environment() | {"XDG_DATA_HOME": home}))
