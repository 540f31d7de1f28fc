// The sockets that libcurl has open, and how many bytes have gone through them: libcurl tells of a header
// only when its line is complete and of a TLS handshake not at all, the kernel knows every byte.
#pragma once

#include <cstdint>
#include <map>

namespace Velmor {

class SocketTable {
  public:
    void add(int socket, const void* owner) { owners_[socket] = owner; }
    void remove(int socket) { owners_.erase(socket); }
    void removeOwner(const void* owner);

    /// Both ways, over all open sockets of `owner`. Changes with each byte that arrives or is acknowledged.
    std::uint64_t bytesMoved(const void* owner) const;

  private:
    std::map<int, const void*> owners_;
};

}  // namespace Velmor
