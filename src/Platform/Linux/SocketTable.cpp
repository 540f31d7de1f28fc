#include "Platform/Linux/SocketTable.hpp"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace Velmor {

void SocketTable::removeOwner(const void* owner) {
    std::erase_if(owners_, [owner](const auto& entry) { return entry.second == owner; });
}

std::uint64_t SocketTable::bytesMoved(const void* owner) const {
    std::uint64_t bytes = 0;
    for (const auto& [socket, of] : owners_) {
        if (of != owner) continue;
        tcp_info info{};  // a kernel that knows less fills less
        socklen_t size = sizeof info;
        if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) == 0)
            bytes += info.tcpi_bytes_received + info.tcpi_bytes_acked;
    }
    return bytes;
}

}  // namespace Velmor
