#include "service/Api/Routes.hpp"
#include "service/Json/JsonText.hpp"

namespace VelmorService {

namespace {

constexpr std::int64_t kMostSessions = 1000;

std::optional<std::string> formatted(const std::optional<Instant>& instant) {
    return instant ? std::optional(formatInstant(*instant)) : std::nullopt;
}

Json summary(const SessionRow& session) {
    Json json{{"id", session.id},
              {"user", session.user},
              {"service", session.service},
              {"data_type", session.dataType},
              {"callback_url", session.callbackUrl},
              {"timezone", session.timezone},
              {"utc_offset", utcOffset(session.start, session.timezone)},
              {"state", session.state()},
              {"start_time", formatInstant(session.start)}};
    addIfPresent(json, "end_time", formatted(session.end));
    addIfPresent(json, "unexpected_end_time", formatted(session.unexpectedEnd));
    json["received"] = session.received;
    json["expected"] = session.expected();
    json["missing_data_ratio"] = session.missingRatio();
    addIfPresent(json, "last_received_seq_num", session.highest);
    return json;
}

/// The numbers that should have come and did not, as [first, last] pairs.
Json missingJson(const SessionRow& session, const std::vector<ChunkRow>& chunks) {
    Json gaps = Json::array();
    std::int64_t next = 0;
    const auto gapUntil = [&](std::int64_t end) {
        if (next < end) {
            gaps.push_back(Json::array({next, end - 1}));
        }
    };
    for (const auto& chunk : chunks) {
        gapUntil(chunk.sequence);
        next = chunk.sequence + 1;
    }
    gapUntil(session.expected());
    return gaps;
}

Response sessions(Store& store, const Request&) {
    Json list = Json::array();
    for (const auto& session : store.sessions({.descending = true, .limit = kMostSessions})) {
        list.push_back(summary(session));
    }
    return resultResponse(list);
}

Response session(Store& store, const Request& request) {
    const auto found = requiredSession(store, request.path[2]);
    const auto chunks = store.chunks(found.row);
    Json list = Json::array();
    for (const auto& chunk : chunks) {
        list.push_back({{"sequence", chunk.sequence},
                        {"size", chunk.size},
                        {"receives", chunk.receives},
                        {"arrival", chunk.arrival}});
    }
    Json json = summary(found);
    json["missing"] = missingJson(found, chunks);
    json["chunks"] = list;
    return resultResponse(json);
}

/// 84 bytes for each chunk in order of its number: the number (32 bits, little-endian), then its overview.
Response overview(Store& store, const Request& request) {
    const auto found = requiredSession(store, request.path[2]);
    Response response;
    response.contentType = "application/octet-stream";
    for (const auto& chunk : store.chunks(found.row)) {
        for (unsigned shift = 0; shift < 32; shift += 8) {
            response.body += static_cast<char>(static_cast<unsigned char>(chunk.sequence >> shift & 0xFF));
        }
        response.body += chunk.overview;
    }
    return response;
}

Response chunk(Store& store, const Request& request) {
    const auto& id = checkedId(request.path[2]);
    const auto sequence = checkedNumber(request.path[4], 0, kGreatestSequence, "the sequence");
    auto bytes = store.chunkBytes(id, sequence);
    if (!bytes) {
        throw ApiError(404, ErrorCode::kUnknownItem, "session " + id + " has no chunk " + request.path[4]);
    }
    Response response;
    response.contentType = "application/octet-stream";
    response.body = std::move(*bytes);
    return response;
}

Response logs(Store& store, const std::optional<std::string>& session) {
    Json list = Json::array();
    for (const auto& log : store.logs(session)) {
        list.push_back({{"log", log.row},
                        {"session", log.session},
                        {"service", log.service},
                        {"hostname", log.hostname},
                        {"tags", log.tags},
                        {"size", log.size}});
    }
    return resultResponse(list);
}

Response logText(Store& store, const Request& request) {
    const auto row = checkedNumber(request.path[2], 1, INT64_MAX, "the log");
    const auto text = store.logText(row);
    if (!text) {
        throw ApiError(404, ErrorCode::kUnknownItem, "there is no log " + request.path[2]);
    }
    return resultResponse({{"log", row}, {"message", *text}});
}

}  // namespace

void addInspectRoutes(Router& router, Store& store) {
    router.add("GET", "inspect/sessions",
               [&store](const Request& request) { return sessions(store, request); });
    router.add("GET", "inspect/sessions/*",
               [&store](const Request& request) { return session(store, request); });
    router.add("GET", "inspect/sessions/*/overview",
               [&store](const Request& request) { return overview(store, request); });
    // Unlike the report for clients, this one leaves the session's state as it is.
    router.add("GET", "inspect/sessions/*/report", [&store](const Request& request) {
        return resultResponse(reportJson(requiredSession(store, request.path[2])));
    });
    router.add("GET", "inspect/sessions/*/chunks/*",
               [&store](const Request& request) { return chunk(store, request); });
    router.add("GET", "inspect/sessions/*/logs",
               [&store](const Request& request) { return logs(store, checkedId(request.path[2])); });
    router.add("GET", "inspect/logs", [&store](const Request&) { return logs(store, std::nullopt); });
    router.add("GET", "inspect/logs/*", [&store](const Request& request) { return logText(store, request); });
}

}  // namespace VelmorService
