// Keys, ids, dates and texts of a host on their way to the wire: one request at the place that was meant with
// the headers that were meant, or none.
#include "APIService/ServiceCalls.hpp"
#include "Log/LogAPI.hpp"
#include "Peer.hpp"
#include "Reports/ReportQueries.hpp"
#include "tests/World.hpp"

#include <algorithm>

namespace Velmor::Fuzz {

// What a query sends, taken off before it leaves.
HttpRequest sentBy(const Config& config, const std::function<void(ReportQueries&)>& ask) {
    const World world;
    const auto queries =
        ReportQueries::make(world.platform, std::make_shared<LogAPI>(world.platform), config);
    ask(*queries);
    if (world.http->requestCount() == 0) throw PlatformError(PlatformError::Kind::badRequest, "refused");
    return world.http->requests().front();
}

// The path's beginning, and its segments, an id between them being one.
struct Place {
    std::string begin;
    std::int64_t slashes;
};

HttpRequest make(Input& input, Place& place) {
    static const Testing::FixedDevice device;
    const auto form = input.choice(4);
    const auto key = input.text(), user = input.text(), first = input.text(), second = input.text();
    const Config config(key, user, Url::parse(peer.url() + "/base"));
    const Caller caller{config, device};
    switch (form) {
        case 0:
            place = {"/base/ai/v1/users/", 5};
            return ServiceCalls::readUser(caller, first).request;
        case 1:
            place = {"/base/ai/v1/sessions/", 7};
            return ServiceCalls::uploadChunk(caller, first, 7, {second}).request;
        case 2:
            place = {"/base/data/v1/sessions?date_gte=", 4};
            return sentBy(config, [&](auto& queries) { queries.reports(first, second, {}, 0, 20); });
        default:
            place = {"/base/data/v1/users/", 6};
            return sentBy(config, [&](auto& queries) { queries.getAverageReport(first, second); });
    }
}

void requireHeaders(const Faults::ReceivedRequest& received,
                    HttpHeaders meant) {  // NOLINT(performance-unnecessary-value-param)
    HttpHeaders sent;
    for (const auto& [name, value] : received.headers)
        if (name != "Host" && name != "Content-Length") sent.emplace_back(name, value);
    for (auto& [name, value] : meant) {  // blanks around a value are not part of it
        value.erase(0, value.find_first_not_of(' '));
        value.erase(value.find_last_not_of(' ') + 1);
    }
    require(sent == meant && received.headers.size() < sent.size() + 3, "other headers", received.bytes);
}

void run(Input input) {
    Place place;
    try {
        const auto request = make(input, place);
        const auto [result, received] = exchange(request, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
        if (std::holds_alternative<PlatformError>(result)) {
            require(received.empty(), "half refused", received.empty() ? "" : received[0].bytes);
            throw std::get<PlatformError>(result);
        }
        require(received.size() == 1 && received[0].complete && received[0].method == request.method,
                "no request");
        const auto& target = received[0].target;
        const auto isOdd = [](char c) { return c <= ' ' || c >= 0x7f || c == '#'; };
        require(std::none_of(target.begin(), target.end(), isOdd), "a character that has no place", target);
        const auto path = target.substr(0, target.find('?'));
        const auto slashes = std::count(path.begin(), path.end(), '/');
        require(target.starts_with(place.begin) && slashes == place.slashes, "another place", target);
        require(received[0].body == request.body, "another body", target);
        requireHeaders(received[0], request.headers);
    } catch (const PlatformError& error) {
        require(error.kind() == PlatformError::Kind::badRequest, "refused under another name", error.what());
    }
}

}  // namespace Velmor::Fuzz
