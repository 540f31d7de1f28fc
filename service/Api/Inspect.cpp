#include "service/Api/Routes.hpp"
#include "service/Json/JsonText.hpp"

namespace VelmorService {

namespace {

constexpr std::int64_t kMostSessions = 1000;

std::optional<std::string> formatted(const std::optional<Instant>& instant) {
    return instant ? std::optional(formatInstant(*instant)) : std::nullopt;
}

JsonObject summary(const SessionRow& session) {
    JsonObject json;
    json.add("id", session.id)
        .add("user", session.user)
        .add("service", session.service)
        .add("data_type", session.dataType)
        .add("callback_url", session.callbackUrl)
        .add("timezone", session.timezone)
        .add("utc_offset", utcOffset(session.start, session.timezone))
        .add("state", session.state())
        .add("start_time", formatInstant(session.start))
        .add("end_time", formatted(session.end))
        .add("unexpected_end_time", formatted(session.unexpectedEnd))
        .add("received", session.received)
        .add("expected", session.expected())
        .add("missing_data_ratio", session.missingRatio())
        .add("last_received_seq_num", session.highest);
    return json;
}

/// The numbers that should have come and did not, as [first, last] pairs.
std::string missingJson(const SessionRow& session, const std::vector<ChunkRow>& chunks) {
    JsonArray gaps;
    std::int64_t next = 0;
    const auto gapUntil = [&](std::int64_t end) {
        if (next < end) {
            gaps.addRaw(JsonArray().add(next).add(end - 1).text());
        }
    };
    for (const auto& chunk : chunks) {
        gapUntil(chunk.sequence);
        next = chunk.sequence + 1;
    }
    gapUntil(session.expected());
    return gaps.text();
}

Response sessions(Store& store, const Request&) {
    JsonArray list;
    for (const auto& session : store.sessions({.descending = true, .limit = kMostSessions})) {
        list.addRaw(summary(session).text());
    }
    return resultResponse(list.text());
}

Response session(Store& store, const Request& request) {
    const auto found = requiredSession(store, request.path[2]);
    const auto chunks = store.chunks(found.row);
    JsonArray list;
    for (const auto& chunk : chunks) {
        list.addRaw(JsonObject()
                        .add("sequence", chunk.sequence)
                        .add("size", chunk.size)
                        .add("receives", chunk.receives)
                        .add("arrival", chunk.arrival)
                        .text());
    }
    return resultResponse(
        summary(found).addRaw("missing", missingJson(found, chunks)).addRaw("chunks", list.text()).text());
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
    JsonArray list;
    for (const auto& log : store.logs(session)) {
        list.addRaw(JsonObject()
                        .add("log", log.row)
                        .add("session", log.session)
                        .add("service", log.service)
                        .add("hostname", log.hostname)
                        .add("tags", log.tags)
                        .add("size", log.size)
                        .text());
    }
    return resultResponse(list.text());
}

Response logText(Store& store, const Request& request) {
    const auto row = checkedNumber(request.path[2], 1, INT64_MAX, "the log");
    const auto text = store.logText(row);
    if (!text) {
        throw ApiError(404, ErrorCode::kUnknownItem, "there is no log " + request.path[2]);
    }
    return resultResponse(JsonObject().add("log", row).add("message", *text).text());
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
