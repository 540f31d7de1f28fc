#include "SessionService/SessionCalls.hpp"

#include "APIService/Iso8601.hpp"
#include "APIService/MultipartFormDataRequest.hpp"
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

/// Failures of opening and closing a session reach the application under a name of their own.
template <class NetworkFail>
State::error failedNetwork(const std::exception_ptr& error) {
    const auto cause = VelmorError::from(error);
    if (const auto* http = cause.as<VelmorError::httpStatus>())
        return {NetworkFail{http->code, http->message}, {}};
    if (cause.is<VelmorError::unknown>()) return {NetworkFail{kNoErrorCode, ""}, {}};
    return {cause, {}};
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

HttpRequest httpRequest(const Request::userJoin& request, const Device& device) {
    if (request.userId) return jsonRequest("GET", user(*request.userId), request.config, device);
    return jsonPost(Endpoint(kUsers).url(request.config.baseUrl()), Json::Object{}, request.config, device);
}

HttpRequest httpRequest(const Request::userDelete& request, const Device& device) {
    return jsonRequest("DELETE", user(request.config.userId()), request.config, device);
}

HttpRequest httpRequest(const Request::create& request, const Device& device) {
    const auto& config = request.config;
    Json callbackUrl;
    Json callbackVersion;
    if (config.callbackUrl()) {
        callbackUrl = config.callbackUrl()->absoluteString();
        callbackVersion = "V2";
    }
    return jsonPost(Endpoint(kSessions).url(config.baseUrl()),
                    Json::object("service", config.service(),                                  //
                                 "upload_data_type", std::string(rawValue(request.dataType)),  //
                                 "session_start_time", Iso8601::format(request.date),          //
                                 "force_create", true,                                         //
                                 "callback_url", std::move(callbackUrl),                       //
                                 "callback_version", std::move(callbackVersion)),
                    config, device);
}

HttpRequest httpRequest(Request::mel& request, const Device& device) {
    auto prepared = jsonRequest(
        "POST", session(request.sessionId).text(joined({"/mel-data/", std::to_string(request.sequence)})),
        request.config, device);
    MultipartFormDataRequest form(prepared.url, device);
    form.addFile("melspectrogram", "melspectrogram.npy", std::exchange(request.data, {}), "");
    return form.makeRequest(std::move(prepared));
}

HttpRequest httpRequest(const Request::close& request, const Device& device) {
    return jsonPost(
        session(request.sessionId).text("/close").url(request.config.baseUrl()),
        Json::object("session_end_time", Iso8601::format(request.date), "unexpected", request.unexpected),
        request.config, device);
}

HttpRequest httpRequest(const Request::analysis& request, const Device& device) {
    return jsonRequest("GET", report(request.sessionId), request.config, device);
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

State::error failed(const Request::userJoin&, const std::exception_ptr& error) {
    return {VelmorError::from(error), {}};
}

State::error failed(const Request::userDelete&, const std::exception_ptr& error) {
    return {VelmorError::from(error), {}};
}

State::error failed(const Request::create&, const std::exception_ptr& error) {
    return failedNetwork<VelmorError::startTrackingNetworkFail>(error);
}

// 403 and 404 say that the service takes nothing more for this session.
State::error failed(const Request::mel& request, const std::exception_ptr& error) {
    State::error out{VelmorError::from(error), {}};
    const auto* http = out.error.as<VelmorError::httpStatus>();
    if (http && (http->code == 403 || http->code == 404)) out.closedSessionId = request.sessionId;
    return out;
}

State::error failed(const Request::close&, const std::exception_ptr& error) {
    return failedNetwork<VelmorError::stopTrackingNetworkFail>(error);
}

// Never as it came: a report that is asked for too early answers 404, which must not look like the end of a
// night that is being tracked.
State::error failed(const Request::analysis&, const std::exception_ptr& error) {
    return {VelmorError::unknown{error}, {}};
}

/// Calls visit(kind), whatever the request is.
template <class Result, class AnyRequest, class Visit>
Result visited(AnyRequest& request, const Visit& visit) {
    return std::visit(
        [&visit](auto& kind) -> Result {
            if constexpr (std::is_same_v<std::remove_cvref_t<decltype(kind)>, Request::log>)
                throw std::logic_error("the log is no call");
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

State stateOfFailure(const Request& request, const std::exception_ptr& error) {
    return {visited<State::error>(request, [&](const auto& kind) { return failed(kind, error); })};
}

}  // namespace

std::string line(const Request& request) {
    return visited<std::string>(request, [](const auto& kind) { return line(kind); });
}

HttpRequest httpRequest(Request& request, const Device& device) {
    return visited<HttpRequest>(request, [&](auto& kind) { return httpRequest(kind, device); });
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
