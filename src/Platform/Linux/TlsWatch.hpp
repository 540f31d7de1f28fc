// What libcurl neither tells nor lets be set about its TLS connections, asked of the TLS library underneath.
#pragma once

#include <cstddef>
#include <map>

namespace Velmor {

/// Whether the peer of a connection said that it had finished: without that word, an answer that lasts until
/// the connection ends may have been cut off by anybody on the way. And keeps the secrets of a connection out
/// of the file that the environment may name. Belongs to the transport's thread; outlives the connections.
class TlsWatch {
  public:
    TlsWatch() = default;
    TlsWatch(const TlsWatch&) = delete;
    TlsWatch& operator=(const TlsWatch&) = delete;

    /// Whether the library underneath is one that can be asked; to be called once libcurl is loaded. Any
    /// thread.
    static bool isPossible();

    /// For each connection before its handshake, with the TLS library's own context.
    void watch(void* context, const void* owner);
    void removeOwner(const void* owner) { connections_.erase(owner); }
    /// False only where the connection is known to have ended without a farewell.
    bool mayBeWhole(const void* owner) const;

  private:
    struct Connection {
        const void* context;
        bool farewell;
    };

    static void onMessage(int sent, int version, int type, const void* bytes, std::size_t count,
                          void* connection, void* self);

    std::map<const void*, Connection> connections_;  // by owner; the last of each
};

}  // namespace Velmor
