#include "Reports/Client.hpp"

#include <cstdio>

namespace VelmorApp {
namespace {

class PrintDebugLines : public Velmor::VelmorDebugLoggerDelegate {
  public:
    void didPrint(const std::string& message) override { std::fprintf(stderr, "%s\n", message.c_str()); }
};

}  // namespace

Client::Client(const SharedOptions& shared, Screen& screen) : peer_(shared, screen) {
    Velmor::Platform platform;
    platform.http = Velmor::makeHttpTransport({.allowClearText = false, .caFile = shared.caFile});
    platform.logUrl = peer_.logUrl();
    platform.files = Velmor::makeFileSystem({.documentsDirectory = shared.dataDir, .temporaryRoot = {}});
    platform.console = [](std::string_view) {};
    Velmor::DeveloperMode::setOn(shared.developerMode);
    Velmor::setPlatform(std::move(platform));
    if (shared.verbose) Velmor::setDebugLoggerDelegate(std::make_shared<PrintDebugLines>());
    config_.emplace(shared.apiKey, shared.userId, peer_.url());
    reports_ = Velmor::createReports(*config_);
}

Client::~Client() {
    reports_.reset();
    Velmor::setPlatform({});
}

}  // namespace VelmorApp
