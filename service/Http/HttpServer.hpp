#pragma once

#include "service/Http/Message.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct MHD_Daemon;

namespace VelmorService {

/// Serves HTTP on a loopback address with GNU libmicrohttpd, on one thread that sleeps until a socket has
/// something for it. Each connection serves one request. What is no HTTP the library answers or closes by
/// itself; every other request reaches the handler once it has arrived whole.
class HttpServer {
  public:
    using Handler = std::function<Response(RawRequest)>;

    /// `host` is "127.0.0.1", "::1" or "localhost"; port 0 takes a free one. Throws std::runtime_error that
    /// names host and port when it cannot listen there. The handler must not throw.
    HttpServer(const std::string& host, std::uint16_t port, Handler handler);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::uint16_t port() const { return port_; }
    /// "http://HOST:PORT"
    std::string url() const;
    /// Waits for a handler that is running, closes every connection and ends the thread. May be called again.
    void stop() { daemon_.reset(); }

  private:
    struct Stop {
        void operator()(MHD_Daemon* daemon) const;
    };

    const std::string host_;
    Handler handler_;
    std::unique_ptr<MHD_Daemon, Stop> daemon_;
    std::uint16_t port_ = 0;
};

}  // namespace VelmorService
