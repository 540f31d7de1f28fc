#include "APIService/ServiceCalls.hpp"

#include "APIService/Encode.hpp"
#include "APIService/MultipartFormDataRequest.hpp"
#include "APIService/Requests.hpp"

#include <utility>

namespace Velmor::ServiceCalls {
namespace {

constexpr const char* kUsers = "ai/v1/users";
constexpr const char* kSessions = "ai/v1/sessions";

Endpoint user(const char* method, const std::string& userId) {
    return Endpoint(method, kUsers).text("/").id(userId);
}

Endpoint session(const char* method, const std::string& sessionId) {
    return Endpoint(method, kSessions).text("/").id(sessionId);
}

template <class Record>
ServiceCall<Record> call(const Caller& caller, const Endpoint& endpoint, std::string body = {}) {
    const auto& [config, device] = caller;
    return {jsonRequest(endpoint, config.baseUrl(), config, device, std::move(body)), endpoint.readable()};
}

}  // namespace

ServiceCall<Model::User> createUser(const Caller& caller) {
    return call<Model::User>(caller, Endpoint("POST", kUsers), encode(Model::Request::User{}));
}

ServiceCall<Model::User> readUser(const Caller& caller, const std::string& userId) {
    auto made = call<Model::User>(caller, user("GET", userId));
    made.path = kUsers;  // a join without a user is the same error in both forms
    return made;
}

ServiceCall<Model::DeleteUser> deleteUser(const Caller& caller) {
    return call<Model::DeleteUser>(caller, user("DELETE", caller.config.userId()));
}

ServiceCall<Model::CreateSession> createSession(const Caller& caller,
                                                const Model::Request::CreateSession& body) {
    return call<Model::CreateSession>(caller, Endpoint("POST", kSessions), encode(body));
}

ServiceCall<Model::UploadData> uploadChunk(const Caller& caller, const std::string& sessionId,
                                           std::int64_t sequence, const Model::Request::UploadData& body) {
    auto made = call<Model::UploadData>(
        caller, session("POST", sessionId).text("/mel-data/" + std::to_string(sequence)));
    MultipartFormDataRequest form(made.request.url, caller.device);
    Fields<Model::Request::UploadData>::each(
        [&](const std::string& name, auto member) { form.addFile(name, name + ".npy", body.*member, ""); });
    made.request = form.makeRequest(std::move(made.request));
    return made;
}

ServiceCall<Model::CloseSession> closeSession(const Caller& caller, const std::string& sessionId,
                                              const Model::Request::CloseSession& body) {
    return call<Model::CloseSession>(caller, session("POST", sessionId).text("/close"), encode(body));
}

ServiceCall<Model::Report> readReport(const Caller& caller, const std::string& sessionId) {
    return call<Model::Report>(caller, Endpoint("GET", "data/v3/sessions/").id(sessionId));
}

ServiceCall<Model::DeleteReport> deleteReport(const Caller& caller, const std::string& sessionId) {
    return call<Model::DeleteReport>(caller, session("DELETE", sessionId));
}

ServiceCall<Model::ReportList> listSessions(const Caller& caller, const std::string& fromDate,
                                            const std::string& toDate, Model::OrderBy orderBy,
                                            std::int64_t offset, std::int64_t limit) {
    const auto query = "data/v1/sessions?date_gte=" + fromDate + "&date_lte=" + toDate +
                       "&order_by=" + std::string(Model::rawValue(orderBy)) +
                       "&offset=" + std::to_string(offset) + "&limit=" + std::to_string(limit);
    return call<Model::ReportList>(caller, Endpoint("GET", "").query(query));
}

ServiceCall<Model::AverageReport> readAverageReport(const Caller& caller, const std::string& fromDate,
                                                    const std::string& toDate) {
    return call<Model::AverageReport>(
        caller, Endpoint("GET", "data/v1/users/")
                    .id(caller.config.userId())
                    .query("/average-stats?start_date=" + fromDate + "&end_date=" + toDate));
}

}  // namespace Velmor::ServiceCalls
