// Raw HTTP answers: a response only when the bytes are a whole one, with nothing in it that was not sent.
#include "Peer.hpp"

#include <algorithm>
#include <strings.h>

namespace Velmor::Fuzz {

void requireWhole(const HttpResponse& response, const std::string& raw) {
    const auto holds = [&](const std::string& part) { return raw.find(part) != std::string::npos; };
    require(raw.starts_with("HTTP/1.") && (response.status / 100 != 1 || response.status == 101),
            "no status line", raw);
    require(holds(" " + std::to_string(1'000 + response.status).substr(1)), "a status that was not sent",
            raw);
    bool chunked = false;
    const std::string* length = nullptr;
    for (const auto& [name, value] : response.headers) {
        require(holds(name) && (name + value).find('\n') == std::string::npos, "another header", name);
        if (strcasecmp(name.c_str(), "transfer-encoding") == 0) chunked = true;
        if (strcasecmp(name.c_str(), "content-length") == 0) length = &value;
    }
    if (chunked) return require(response.body.size() < raw.size(), "more than was sent", raw);
    require(holds(response.body), "another body", raw);
    const bool measured = response.status != 101 && response.status != 204 && response.status != 304;
    if (length && measured)  // after 101 comes whatever the other protocol sends
        require(response.body.size() == std::strtoull(length->c_str(), nullptr, 10), "a cut body", raw);
}

void run(Input input) {
    const auto raw = input.rest();
    const auto [result, received] = exchange({"GET", Url::parse(peer.url() + "/"), {}, {}}, raw);
    require(received.size() == 1, "not one request");
    if (const auto* response = std::get_if<HttpResponse>(&result)) return requireWhole(*response, raw);
    require(std::get<PlatformError>(result).kind() != PlatformError::Kind::badRequest,
            "blamed on the request");
}

}  // namespace Velmor::Fuzz
