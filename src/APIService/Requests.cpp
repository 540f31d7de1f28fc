#include "APIService/Requests.hpp"

#include "BuildSettings.hpp"
#include "Runtime/Text.hpp"

#include <algorithm>
#include <utility>

namespace Velmor {
HttpHeaders standardHeaders(const Config& config, const Device& device) {
    const std::string version = BuildSettings::kVersion;
    const auto facts = device.facts();
    HttpHeaders headers;
    const auto add = [&](std::string_view name, std::string_view value) {
        headers.emplace_back(name, value);
    };
    add("x-api-key", config.apiKey());
    add("timezone", device.timeZone());
    add("x-sdk-version", facts.systemName + " " + version);
    add("user-agent", "VelmorSDK/" + version + " (" + facts.systemName + " " + facts.systemVersion + "; " +
                          facts.model + ")");
    if (!config.userId().empty()) add("x-user-id", config.userId());
    return headers;
}

void setHeader(HttpHeaders& headers, std::string_view name, std::string_view value) {
    const auto named = [&](const auto& header) { return equalIgnoringCase(header.first, name); };
    const auto first = std::ranges::find_if(headers, named);
    if (first == headers.end()) {
        headers.emplace_back(name, value);
        return;
    }
    first->first = name;
    first->second = value;
    for (auto later = first + 1; later != headers.end();)
        later = named(*later) ? headers.erase(later) : later + 1;
}

HttpRequest jsonRequest(const Endpoint& endpoint, const Url& base, const Config& config, const Device& device,
                        std::string body) {
    HttpRequest out{.method = endpoint.method(),
                    .url = endpoint.url(base),
                    .headers = standardHeaders(config, device),
                    .body = std::move(body)};
    setHeader(out.headers, "Content-Type", "application/json");
    setHeader(out.headers, "Accept", "application/json");
    return out;
}

}  // namespace Velmor
