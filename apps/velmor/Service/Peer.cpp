#include "Service/Peer.hpp"

#include "service/LocalService.hpp"

#include <Velmor/Platform/Files.hpp>

namespace VelmorApp {

std::string documentsDirectory(const SharedOptions& shared) {
    return Velmor::makeFileSystem({.documentsDirectory = shared.dataDir, .temporaryRoot = {}})
        ->documentsDirectory();
}

std::string serviceDirectory(const SharedOptions& shared) {
    return shared.serviceDir.empty() ? documentsDirectory(shared) + "service" : shared.serviceDir;
}

Peer::Peer(const SharedOptions& shared, Screen& screen) : url_(shared.baseUrl), logUrl_(shared.logUrl) {
    if (url_) {
        // A service on this machine takes the log in too; nothing should leave the machine on its account.
        if (!logUrl_ && url_->isLoopback()) logUrl_ = Velmor::Url::parse(url_->origin());
        return;
    }
    directory_ = serviceDirectory(shared);
    VelmorService::LocalServiceOptions options;
    options.directory = directory_;
    local_ = std::make_unique<VelmorService::LocalService>(options);
    url_ = Velmor::Url::parse(local_->url());
    if (!logUrl_) logUrl_ = url_;
    screen.remark("No --base-url: started a local service at " + local_->url() + ", data in " + directory_);
}

Peer::~Peer() = default;

}  // namespace VelmorApp
