#include "Log/LogUpload.hpp"

#include "BuildSettings.hpp"
#include "Runtime/Text.hpp"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace Velmor::LogUpload {
namespace {

const Url& productionUrl() {
    static const Url* const url = [] {
        auto parsed = Url::tryParse(BuildSettings::kLogUrl);
        if (!parsed) {
            std::fprintf(stderr, "LogUpload.cpp: the log proxy URL is no URL: %s\n", BuildSettings::kLogUrl);
            std::abort();
        }
        return new Url(std::move(*parsed));
    }();
    return *url;
}

std::string tags(const Config& config, const std::optional<std::string>& sessionId, const DeviceFacts& facts,
                 const std::string& timeZone) {
    const std::string session = sessionId ? joined({", sessionId:", *sessionId}) : "";
    return joined({"version:", BuildSettings::kVersion, ", device:", facts.model, ", os:", facts.systemName,
                   facts.systemVersion, ", timezone:", timeZone, session, ", userId:", config.userId(),
                   ", apikey:", config.apiKey()});
}

}  // namespace

Request makeRequest(const Config& config, const std::optional<std::string>& sessionId, std::string message,
                    const Device& device) {
    const auto facts = device.facts();
    return {.ddsource = "VelmorSDK",
            .ddtags = tags(config, sessionId, facts, device.timeZone()),
            .hostname = "iOS",
            .message = std::move(message),
            .service = facts.bundleName.value_or("No Name")};
}

Url url(const Platform& platform) {
    return platform.logUrl.value_or(productionUrl()).appending("datadog/api/v2/logs");
}

}  // namespace Velmor::LogUpload
