#include "service/Api/Routes.hpp"
#include "service/Api/SampleNight.hpp"
#include "service/Json/JsonText.hpp"
#include "service/Json/RequestBodies.hpp"

namespace VelmorService {

namespace {

constexpr const char* kMockUser = "mock-user";
constexpr const char* kMockSession = "mock-session";

Response user(const std::string& id) {
    return resultResponse({{"user_id", id}});
}

}  // namespace

/// Requests are checked as strictly as the real ones, so that a client can be tried out here; nothing is
/// kept.
void addMockRoutes(Router& router) {
    router.add("POST", "mock/ai/v1/users", [](const Request& request) {
        checkObject(request.raw.body);
        return user(kMockUser);
    });
    router.add("GET", "mock/ai/v1/users/*",
               [](const Request& request) { return user(checkedId(request.path[4])); });
    router.add("DELETE", "mock/ai/v1/users/*", [](const Request&) { return emptyResult(); });
    router.add("POST", "mock/ai/v1/sessions", [](const Request& request) {
        readCreateSession(request.raw.body);
        requiredUser(request);
        return resultResponse({{"session_id", kMockSession}});
    });
    router.add("POST", "mock/ai/v1/sessions/*/mel-data/*", [](const Request& request) {
        checkedNumber(request.path[6], 0, kGreatestSequence, "the sequence");
        uploadedMel(request);
        return emptyResult();
    });
    router.add("POST", "mock/ai/v1/sessions/*/close", [](const Request& request) {
        readCloseSession(request.raw.body);
        return emptyResult();
    });
    router.add("GET", "mock/data/v3/sessions/*", [night = makeSampleNight()](const Request& request) {
        return resultResponse(sampleReportJson(night, checkedId(request.path[4])));
    });
}

}  // namespace VelmorService
