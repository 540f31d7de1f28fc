#include "SessionService/SessionCalls.hpp"

#include "APIService/Encode.hpp"
#include "APIService/MultipartFormDataRequest.hpp"
#include "APIService/RequestRecords.hpp"
#include "APIService/Requests.hpp"
#include "Runtime/Text.hpp"

#include <stdexcept>
#include <type_traits>
#include <utility>

namespace Velmor::SessionCalls {
namespace {

constexpr const char* kUsers = "ai/v1/users";
constexpr const char* kSessions = "ai/v1/sessions";

Endpoint user(const std::string& userId) {
    return Endpoint("ai/v1/users/").id(userId);
}

Endpoint session(const std::string& sessionId) {
    return Endpoint("ai/v1/sessions/").id(sessionId);
}

Endpoint report(const std::string& sessionId) {
    return Endpoint("data/v3/sessions/").id(sessionId);
}

std::string line(const Request::userJoin& request) {
    return joined({"API: user join, id: ", request.userId.value_or("nil")});
}

std::string line(const Request::userDelete& request) {
    return joined({"API: user delete, id: ", request.config.userId()});
}

std::string line(const Request::create&) {
    return "API: session - create";
}

std::string line(const Request::mel& request) {
    return joined({"API: session id is ", request.sessionId, " - upload, sequence is ",
                   std::to_string(request.sequence)});
}

std::string line(const Request::close& request) {
    return joined({"API: session id is ", request.sessionId, " - close"});
}

std::string line(const Request::analysis& request) {
    return joined({"API: sessions analysis - id: ", request.sessionId});
}

/// A request as the service's interface has it.
struct Call {
    const char* method;
    Endpoint endpoint;
    std::optional<std::string> body;
};

Call callOf(const Request::userJoin& request) {
    if (request.userId) return {"GET", user(*request.userId), {}};
    return {"POST", Endpoint(kUsers), encode(Model::Request::User{})};
}

Call callOf(const Request::userDelete& request) {
    return {"DELETE", user(request.config.userId()), {}};
}

Call callOf(const Request::create& request) {
    const auto& config = request.config;
    Model::Request::CreateSession body{.service = config.service(),
                                       .uploadDataType = std::string(rawValue(request.dataType)),
                                       .sessionStartTime = request.date,
                                       .forceCreate = true,
                                       .callback_url = {},
                                       .callback_version = {}};
    if (config.callbackUrl()) {
        body.callback_url = config.callbackUrl()->absoluteString();
        body.callback_version = "V2";
    }
    return {"POST", Endpoint(kSessions), encode(body)};
}

Call callOf(const Request::mel& request) {
    return {"POST",
            session(request.sessionId).text(joined({"/mel-data/", std::to_string(request.sequence)})),
            {}};
}

Call callOf(const Request::close& request) {
    return {"POST", session(request.sessionId).text("/close"),
            encode(Model::Request::CloseSession{request.date, request.unexpected})};
}

Call callOf(const Request::analysis& request) {
    return {"GET", report(request.sessionId), {}};
}

State succeeded(const Request::userJoin& request, const Model::User* result) {
    if (!result) throw VelmorError(VelmorError::responseResult{kUsers});
    return {State::userJoin{request.config.withUserId(result->userId)}};
}

State succeeded(const Request::userDelete& request, const Model::DeleteUser*) {
    return {State::userDelete{request.config}};
}

State succeeded(const Request::create&, const Model::CreateSession* result) {
    if (!result) throw VelmorError(VelmorError::responseResult{kSessions});
    return {State::create{result->sessionId}};
}

State succeeded(const Request::mel& request, const Model::UploadData*) {
    return {State::upload{request.sessionId, request.sequence}};
}

State succeeded(const Request::close& request, const Model::CloseSession*) {
    return {State::close{request.sessionId}};
}

State succeeded(const Request::analysis& request, const Model::Report* result) {
    if (!result) throw VelmorError(VelmorError::responseResult{report(request.sessionId).readable()});
    return {State::analysis{*result}};
}

[[noreturn]] void throwNoCall() {
    throw std::logic_error("the log is no call");
}

/// Calls visit(kind), whatever the request is.
template <class Result, class AnyRequest, class Visit>
Result visited(AnyRequest& request, const Visit& visit) {
    return std::visit(
        [&visit](auto& kind) -> Result {
            if constexpr (std::is_same_v<std::remove_cvref_t<decltype(kind)>, Request::log>)
                throwNoCall();
            else
                return visit(kind);
        },
        request.value);
}

/// The record that a request is answered with.
template <class R>
struct Answer;
template <>
struct Answer<Request::userJoin> {
    using Record = Model::User;
};
template <>
struct Answer<Request::userDelete> {
    using Record = Model::DeleteUser;
};
template <>
struct Answer<Request::create> {
    using Record = Model::CreateSession;
};
template <>
struct Answer<Request::mel> {
    using Record = Model::UploadData;
};
template <>
struct Answer<Request::close> {
    using Record = Model::CloseSession;
};
template <>
struct Answer<Request::analysis> {
    using Record = Model::Report;
};
template <class R>
using RecordFor = typename Answer<std::remove_cvref_t<R>>::Record;

/// Failures of opening and closing a session reach the application under a name of their own.
template <class NetworkFail>
VelmorError networkFail(const VelmorError& error) {
    if (const auto* http = error.as<VelmorError::httpStatus>()) return NetworkFail{http->code, http->message};
    if (const auto* other = error.as<VelmorError::unknown>())
        return NetworkFail{kNoErrorCode, "", other->systemError};
    return error;
}

State stateOfFailure(const Request& request, const std::exception_ptr& failure) {
    const auto error = VelmorError::from(failure);
    if (std::holds_alternative<Request::create>(request.value))
        return {State::error{networkFail<VelmorError::startTrackingNetworkFail>(error), {}}};
    if (std::holds_alternative<Request::close>(request.value))
        return {State::error{networkFail<VelmorError::stopTrackingNetworkFail>(error), {}}};
    // 403 and 404 say that the service takes nothing more for this session.
    const auto* upload = std::get_if<Request::mel>(&request.value);
    const auto* http = error.as<VelmorError::httpStatus>();
    if (upload && http && (http->code == 403 || http->code == 404))
        return {State::error{error, upload->sessionId}};
    return {State::error{error, {}}};
}

}  // namespace

std::string line(const Request& request) {
    return visited<std::string>(request, [](const auto& kind) { return line(kind); });
}

HttpRequest httpRequest(Request& request, const Device& device) {
    const auto call = visited<Call>(request, [](const auto& kind) { return callOf(kind); });
    const auto& config = *visited<const Config*>(request, [](const auto& kind) { return &kind.config; });
    if (call.body) return jsonPost(call.endpoint.url(config.baseUrl()), *call.body, config, device);
    auto http = jsonRequest(call.method, call.endpoint, config, device);
    auto* upload = std::get_if<Request::mel>(&request.value);
    if (!upload) return http;
    MultipartFormDataRequest form(http.url, device);
    const Model::Request::UploadData body{std::exchange(upload->data, {})};
    Fields<Model::Request::UploadData>::each([&](const char* name, auto member) {
        form.addFile(name, joined({name, ".npy"}), body.*member, "");
    });
    return form.makeRequest(std::move(http));
}

RecordDecoder decoder(const Request& request) {
    return visited<RecordDecoder>(request,
                                  [](const auto& kind) { return &decodeRecord<RecordFor<decltype(kind)>>; });
}

State stateOf(const Request& request, const APIOutcome& outcome) {
    if (outcome.error) return stateOfFailure(request, outcome.error);
    try {
        return visited<State>(request, [&](const auto& kind) {
            return succeeded(kind, outcome.as<RecordFor<decltype(kind)>>());
        });
    } catch (...) {
        return stateOfFailure(request, std::current_exception());
    }
}

}  // namespace Velmor::SessionCalls
