#include "Log/LogUpload.hpp"

#include "APIService/Encode.hpp"
#include "APIService/Requests.hpp"
#include "BuildSettings.hpp"
#include "BuiltInUrl.hpp"

#include <utility>

namespace Velmor::LogUpload {
namespace {

const Url& productionUrl() {
    static const auto* const url = new Url(builtInUrl(BuildSettings::kLogUrl));
    return *url;
}

std::string tags(const Config& config, const std::optional<std::string>& sessionId, const DeviceFacts& facts,
                 const std::string& timeZone) {
    const std::string version = BuildSettings::kVersion;
    const std::string session = sessionId ? ", sessionId:" + *sessionId : "";
    return "version:" + version + ", device:" + facts.model + ", os:" + facts.systemName +
           facts.systemVersion + ", timezone:" + timeZone + session + ", userId:" + config.userId() +
           ", apikey:" + config.apiKey();
}

}  // namespace

HttpRequest call(const Platform& platform, const Config& config, const std::optional<std::string>& sessionId,
                 std::string message) {
    const auto& device = *platform.device;
    const auto facts = device.facts();
    const Request record{.ddsource = "VelmorSDK",
                         .ddtags = tags(config, sessionId, facts, device.timeZone()),
                         .hostname = "iOS",
                         .message = std::move(message),
                         .service = facts.bundleName.value_or("No Name")};
    return jsonRequest(Endpoint("POST", "datadog/api/v2/logs"), platform.logUrl.value_or(productionUrl()),
                       config, device, encode(record));
}

}  // namespace Velmor::LogUpload
