#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace VelmorService {

struct ServedRequest {
    std::string method;
    std::string path;  ///< as sent, without the query
    int status = 0;
};

struct LocalServiceOptions {
    std::string directory = {};  ///< data: a SQLite file and the mel arrays; made when it is not there
    std::uint16_t port = 0;      ///< 0 for a free one
    std::string apiKey = {};     ///< the only key that is accepted; empty for any
    /// Told of every answer that the handlers of this service gave, on its thread.
    std::function<void(const ServedRequest&)> onRequest = {};
};

/// The session API on loopback, so that one machine without an account shows the whole product: users,
/// sessions, mel uploads, reports, log intake, and a page at "/" for the developer. docs/local-service.md
/// describes the endpoints.
///
/// Runs on a thread of its own from construction to `stop`. All functions may be called from any thread.
class LocalService {
  public:
    /// Throws std::runtime_error with a reason that names the port or the directory.
    explicit LocalService(const LocalServiceOptions& options);
    /// Stops.
    ~LocalService();
    LocalService(const LocalService&) = delete;
    LocalService& operator=(const LocalService&) = delete;

    /// "http://127.0.0.1:PORT", without a slash at the end.
    std::string url() const;
    std::uint16_t port() const;
    /// Ends every connection and returns when the thread has gone, at once even with idle clients.
    void stop();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace VelmorService
