#include "service/Api/Routes.hpp"
#include "service/Json/RequestBodies.hpp"

namespace VelmorService {

namespace {

constexpr std::string_view kSeparator = ", ";

struct Tags {
    std::string text;
    std::string session;
};

/// The tags without the API key, which a page should not show, and the session id among them.
Tags readTags(std::string_view text) {
    constexpr std::string_view kKey = "apikey:";
    constexpr std::string_view kSession = "sessionId:";
    Tags tags;
    while (!text.empty()) {
        const auto tag = text.substr(0, text.find(kSeparator));
        text.remove_prefix(std::min(tag.size() + kSeparator.size(), text.size()));
        if (tag.starts_with(kSession)) {
            tags.session = tag.substr(kSession.size());
        }
        if (!tags.text.empty()) {
            tags.text += kSeparator;
        }
        tags.text += tag.starts_with(kKey) ? "apikey:***" : tag;
    }
    return tags;
}

}  // namespace

void addLogRoutes(Router& router, Store& store) {
    router.add("POST", "datadog/api/v2/logs", [&store](const Request& request) {
        const auto body = readLog(request.raw.body);
        const auto tags = readTags(body.ddtags);
        LogRow log;
        log.session = tags.session;
        log.tags = tags.text;
        log.service = body.service;
        log.hostname = body.hostname;
        store.addLog(log, body.message);
        Response response = emptyResult();
        response.status = 202;
        return response;
    });
}

}  // namespace VelmorService
