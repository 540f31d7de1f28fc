#include "service/Api/Routes.hpp"
#include "service/Json/JsonText.hpp"
#include "service/Json/RequestBodies.hpp"
#include "service/MelArray.hpp"

namespace VelmorService {

namespace {

Response create(Store& store, const Request& request) {
    const auto body = readCreateSession(request.raw.body);
    const NewSession session{.user = requiredUser(request),
                             .service = body.service,
                             .dataType = body.uploadDataType,
                             .callbackUrl = body.callbackUrl.value_or(""),
                             .timezone = timezoneOf(request),
                             .start = body.sessionStartTime};
    store.keepUser(session.user);
    std::string id;
    if (store.createSession(session, body.forceCreate, id) == Store::Outcome::AlreadyOpen) {
        throw ApiError(409, ErrorCode::kOpenSession,
                       "the user has an open session and force_create is false");
    }
    return resultResponse({{"session_id", id}});
}

Response upload(Store& store, const Request& request) {
    const auto& id = checkedId(request.path[3]);
    const auto sequence = checkedNumber(request.path[5], 0, kGreatestSequence, "the sequence");
    const auto npy = uploadedMel(request);
    switch (store.putChunk(id, sequence, npy, melOverview(melPayload(npy)))) {
        case Store::Outcome::Unknown:
            refuseUnknownSession(id);
        case Store::Outcome::Closed:
            throw ApiError(403, ErrorCode::kClosedSession, "session " + id + " is closed");
        default:
            return emptyResult();
    }
}

Response close(Store& store, const Request& request) {
    const auto& id = checkedId(request.path[3]);
    const auto body = readCloseSession(request.raw.body);
    switch (store.close(id, body.sessionEndTime, body.unexpected)) {
        case Store::Outcome::Unknown:
            refuseUnknownSession(id);
        case Store::Outcome::BadTime:
            throw ApiError(400, ErrorCode::kBadRequest, "session_end_time lies before the session's start");
        default:
            // Closed before: the client may have lost the first answer, so this is no error.
            return emptyResult();
    }
}

}  // namespace

void addSessionRoutes(Router& router, Store& store) {
    router.add("POST", "ai/v1/sessions", [&store](const Request& request) { return create(store, request); });
    router.add("POST", "ai/v1/sessions/*/mel-data/*",
               [&store](const Request& request) { return upload(store, request); });
    router.add("POST", "ai/v1/sessions/*/close",
               [&store](const Request& request) { return close(store, request); });
    router.add("DELETE", "ai/v1/sessions/*", [&store](const Request& request) {
        if (!store.removeSession(checkedId(request.path[3]))) {
            refuseUnknownSession(request.path[3]);
        }
        return emptyResult();
    });
}

}  // namespace VelmorService
