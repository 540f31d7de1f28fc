// The service that a command talks to: the one it was told, or a local one in its own process.
#pragma once

#include "Options.hpp"
#include "Screen.hpp"

#include <memory>
#include <string>

#include <Velmor/Url.hpp>

namespace VelmorService {
class LocalService;
}

namespace VelmorApp {

class Peer {
  public:
    /// Starts the local service when no URL was given, and says so. Throws std::runtime_error when it cannot.
    Peer(const SharedOptions& shared, Screen& screen);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    const Velmor::Url& url() const { return *url_; }
    /// Where the library's log is to go: none for the library's own choice.
    const std::optional<Velmor::Url>& logUrl() const { return logUrl_; }
    /// Where the local service keeps its data; empty when it is not ours.
    const std::string& directory() const { return directory_; }

  private:
    std::unique_ptr<VelmorService::LocalService> local_;
    std::string directory_;
    std::optional<Velmor::Url> url_;
    std::optional<Velmor::Url> logUrl_;
};

/// Where the library keeps its log, with a slash at the end.
std::string documentsDirectory(const SharedOptions& shared);
/// Where a local service keeps its data.
std::string serviceDirectory(const SharedOptions& shared);

}  // namespace VelmorApp
