#include "service/Api/Routes.hpp"
#include "service/Json/JsonText.hpp"

#include <algorithm>
#include <limits>

namespace VelmorService {

namespace {

constexpr std::int64_t kLongestPage = 1000;

/// The peculiarity that follows from the session's times alone; nullptr for none.
const char* peculiarityOf(const SessionRow& session) {
    if (session.open()) {
        return "IN_PROGRESS";
    }
    return session.seconds().value_or(0) < kShortestAnalysisSeconds ? "TOO_SHORT_FOR_ANALYSIS" : nullptr;
}

void addTimes(Json& json, const SessionRow& session, const std::string& prefix) {
    json[prefix + "start_time"] = formatInstant(session.start);
    if (session.end) {
        json[prefix + "end_time"] = formatInstant(*session.end);
    }
    if (session.unexpectedEnd) {
        json["unexpected_end_time"] = formatInstant(*session.unexpectedEnd);
    }
    json["created_timezone"] = session.timezone;
}

Response report(Store& store, const Request& request) {
    SessionRow session = requiredSession(store, request.path[3]);
    if (!session.open() && !session.complete) {
        store.markComplete(session.id);
        session.complete = true;
    }
    return resultResponse(reportJson(session));
}

std::optional<std::string> day(const Request& request, const std::string& key) {
    const auto found = request.query.find(key);
    if (found == request.query.end()) {
        return std::nullopt;
    }
    if (!isDay(found->second)) {
        throw ApiError(400, ErrorCode::kBadRequest, key + " must be a day in the form yyyy-MM-dd");
    }
    return found->second;
}

std::int64_t number(const Request& request, const std::string& key, std::int64_t most,
                    std::int64_t otherwise) {
    const auto found = request.query.find(key);
    return found == request.query.end() ? otherwise : checkedNumber(found->second, 0, most, key);
}

bool descending(const Request& request) {
    const auto found = request.query.find("order_by");
    if (found != request.query.end() && found->second != "ASC" && found->second != "DESC") {
        throw ApiError(400, ErrorCode::kBadRequest, "order_by must be ASC or DESC");
    }
    return found == request.query.end() || found->second == "DESC";
}

Response list(Store& store, const Request& request) {
    const auto sessions = store.sessions({.user = requiredUser(request),
                                          .fromDay = day(request, "date_gte"),
                                          .toDay = day(request, "date_lte"),
                                          .descending = descending(request),
                                          .offset = number(request, "offset", 1'000'000'000, 0),
                                          .limit = number(request, "limit", kLongestPage, 100)});
    Json entries = Json::array();
    for (const auto& session : sessions) {
        Json entry{{"session_id", session.id}, {"state", session.state()}};
        addTimes(entry, session, "session_");
        addIfPresent(entry, "last_received_seq_num", session.highest);
        addIfPresent(entry, "time_in_bed", session.seconds());
        entries.push_back(entry);
    }
    return resultResponse({{"timezone", timezoneOf(request)}, {"sleep_session_list", entries}});
}

/// Averages need sleep stages, which this service does not have. The peculiarities of the period's sessions
/// are known without them.
Response average(Store& store, const Request& request) {
    const auto from = day(request, "start_date");
    const auto to = day(request, "end_date");
    if (!from || !to || *from > *to) {
        throw ApiError(400, ErrorCode::kBadRequest, "start_date and end_date must be given, in this order");
    }
    const auto sessions = store.sessions({.user = checkedId(request.path[3]),
                                          .fromDay = from,
                                          .toDay = to,
                                          .limit = std::numeric_limits<std::int64_t>::max()});
    Json found = Json::array();
    for (const auto& session : sessions) {
        const char* peculiarity = peculiarityOf(session);
        if (peculiarity != nullptr && std::ranges::find(found, peculiarity) == found.end()) {
            found.push_back(peculiarity);
        }
    }
    return resultResponse(
        {{"period", {{"timezone", timezoneOf(request)}, {"start_date", *from}, {"end_date", *to}}},
         {"peculiarities", found},
         {"never_slept_sessions", Json::array()},
         {"slept_sessions", Json::array()}});
}

}  // namespace

Json reportJson(const SessionRow& session) {
    Json peculiarities = Json::array();
    const char* peculiarity = peculiarityOf(session);
    if (peculiarity != nullptr) {
        peculiarities.push_back(peculiarity);
    }
    Json times{{"id", session.id}, {"state", session.state()}};
    addTimes(times, session, "");
    Json report{{"timezone", session.timezone},
                {"peculiarities", peculiarities},
                {"missing_data_ratio", session.missingRatio()},
                {"session", times}};
    if (peculiarity == nullptr) {
        report["stat"] = Json::object();
        addIfPresent(report["stat"], "time_in_bed", session.seconds());
    }
    return report;
}

void addReportRoutes(Router& router, Store& store) {
    router.add("GET", "data/v3/sessions/*",
               [&store](const Request& request) { return report(store, request); });
    router.add("GET", "data/v1/sessions", [&store](const Request& request) { return list(store, request); });
    router.add("GET", "data/v1/users/*/average-stats",
               [&store](const Request& request) { return average(store, request); });
}

}  // namespace VelmorService
