#include "service/Api/Routes.hpp"
#include "service/Json/JsonText.hpp"
#include "service/Json/RequestBodies.hpp"

namespace VelmorService {

namespace {

Json sessionInfoJson(const SessionRow& session) {
    Json info{{"session_id", session.id},
              {"inference_type", session.dataType},
              {"service", session.service},
              {"state", session.state()},
              {"start_time", formatInstant(session.start)}};
    if (const auto ended = session.ended()) {
        info["end_time"] = formatInstant(*ended);
        if (session.complete) {
            info["complete_time"] = formatInstant(*ended);
        }
    }
    return info;
}

Response userAnswer(Store& store, const std::string& id) {
    Json user{{"user_id", id}};
    if (const auto last = store.lastSession(id)) {
        user["last_session_info"] = sessionInfoJson(*last);
    }
    return resultResponse(user);
}

}  // namespace

void addUserRoutes(Router& router, Store& store) {
    router.add("POST", "ai/v1/users", [&store](const Request& request) {
        checkObject(request.raw.body);
        return userAnswer(store, store.newUser());
    });
    // A developer types any id, so an unknown one is a new user and not an error.
    router.add("GET", "ai/v1/users/*", [&store](const Request& request) {
        const auto& id = checkedId(request.path[3]);
        store.keepUser(id);
        return userAnswer(store, id);
    });
    router.add("DELETE", "ai/v1/users/*", [&store](const Request& request) {
        const auto& id = checkedId(request.path[3]);
        if (!store.removeUser(id)) {
            throw ApiError(404, ErrorCode::kUnknownUser, "there is no user " + id);
        }
        return emptyResult();
    });
}

}  // namespace VelmorService
