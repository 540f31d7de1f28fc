#pragma once

#include "service/Http/Message.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct MHD_Daemon;

namespace VelmorService {

/// Serves HTTP on 127.0.0.1 with GNU libmicrohttpd, on one thread that sleeps until a socket is ready. Each
/// connection serves one request. The handler gets every request that has arrived whole; the library itself
/// answers what is no HTTP, and closes connections that stay silent.
class HttpServer {
  public:
    using Handler = std::function<Response(RawRequest)>;

    /// Port 0 takes a free one. Throws std::runtime_error that names the port when it cannot listen there. A
    /// handler that throws closes the connection.
    HttpServer(std::uint16_t port, Handler handler);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::uint16_t port() const { return port_; }
    /// "http://127.0.0.1:PORT"
    std::string url() const;
    /// Waits for a handler that is running, closes every connection and ends the thread. May be called again.
    void stop() { daemon_.reset(); }

  private:
    struct Stop {
        void operator()(MHD_Daemon* daemon) const;
    };

    Handler handler_;  ///< before the daemon, whose thread calls it
    std::unique_ptr<MHD_Daemon, Stop> daemon_;
    std::uint16_t port_ = 0;
};

}  // namespace VelmorService
