#pragma once

#include "service/Http/Connection.hpp"
#include "src/Runtime/ThreadSafety.hpp"

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace VelmorService {

/// Listens on a loopback address and hands each accepted connection to `handler` on one of a fixed number of
/// threads.
class Listener {
  public:
    using Handler = std::function<void(Connection&)>;

    /// `host` is "127.0.0.1", "::1" or "localhost"; port 0 takes a free one. Throws std::runtime_error that
    /// names host and port when it cannot listen there. The handler is called from several threads at once.
    Listener(const std::string& host, std::uint16_t port, unsigned threads, Handler handler);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    std::uint16_t port() const { return port_; }
    /// "http://HOST:PORT"
    std::string url() const;
    /// Ends every wait of every connection and joins the threads. May be called again.
    void stop();

  private:
    void acceptLoop();
    FileDescriptor acceptOne();

    const std::string host_;
    const Handler handler_;
    StopSignal stop_;
    Velmor::Mutex accepting_;  // one thread waits for the next connection, or each would wake all of them
    FileDescriptor socket_;
    std::uint16_t port_ = 0;
    std::vector<std::thread> threads_;
};

}  // namespace VelmorService
