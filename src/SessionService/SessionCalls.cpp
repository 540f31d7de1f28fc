#include "SessionService/SessionCalls.hpp"

#include "APIService/ServiceCalls.hpp"
#include "Log/LogAPI.hpp"
#include "Runtime/Contain.hpp"

#include <string>
#include <type_traits>
#include <utility>

namespace Velmor::SessionCalls {
namespace {

using Request = SessionsService::Request;
using State = SessionsService::State;

std::string line(const Request::userJoin& request) {
    return "API: user join, id: " + request.userId.value_or("nil");
}

std::string line(const Request::userDelete& request) {
    return "API: user delete, id: " + request.config.userId();
}

std::string line(const Request::create&) {
    return "API: session - create";
}

std::string line(const Request::mel& request) {
    return "API: session id is " + request.sessionId + " - upload, sequence is " +
           std::to_string(request.sequence);
}

std::string line(const Request::close& request) {
    return "API: session id is " + request.sessionId + " - close";
}

std::string line(const Request::analysis& request) {
    return "API: sessions analysis - id: " + request.sessionId;
}

ServiceCall<Model::User> callOf(const Request::userJoin& request, const Device& device) {
    const Caller caller{request.config, device};
    return request.userId ? ServiceCalls::readUser(caller, *request.userId)
                          : ServiceCalls::createUser(caller);
}

ServiceCall<Model::DeleteUser> callOf(const Request::userDelete& request, const Device& device) {
    return ServiceCalls::deleteUser({request.config, device});
}

ServiceCall<Model::CreateSession> callOf(const Request::create& request, const Device& device) {
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
    return ServiceCalls::createSession({config, device}, body);
}

// The bytes are moved out: a chunk is not kept twice while it is under way.
ServiceCall<Model::UploadData> callOf(Request::mel& request, const Device& device) {
    return ServiceCalls::uploadChunk({request.config, device}, request.sessionId, request.sequence,
                                     {std::exchange(request.data, {})});
}

ServiceCall<Model::CloseSession> callOf(const Request::close& request, const Device& device) {
    return ServiceCalls::closeSession({request.config, device}, request.sessionId,
                                      {request.date, request.unexpected});
}

ServiceCall<Model::Report> callOf(const Request::analysis& request, const Device& device) {
    return ServiceCalls::readReport({request.config, device}, request.sessionId);
}

// The record is null when the answer holds none, which `path` names where one is needed.

template <class Record>
const Record& needed(const Record* record, const std::string& path) {
    if (!record) throw VelmorError(VelmorError::responseResult{path});
    return *record;
}

State succeeded(const Request::userJoin& request, const Model::User* user, const std::string& path) {
    return {State::userJoin{request.config.withUserId(needed(user, path).userId)}};
}

State succeeded(const Request::userDelete& request, const Model::DeleteUser*, const std::string&) {
    return {State::userDelete{request.config}};
}

State succeeded(const Request::create&, const Model::CreateSession* session, const std::string& path) {
    return {State::create{needed(session, path).sessionId}};
}

State succeeded(const Request::mel& request, const Model::UploadData*, const std::string&) {
    return {State::upload{request.sessionId, request.sequence}};
}

State succeeded(const Request::close& request, const Model::CloseSession*, const std::string&) {
    return {State::close{request.sessionId}};
}

State succeeded(const Request::analysis&, const Model::Report* report, const std::string& path) {
    return {State::analysis{needed(report, path)}};
}

/// Failures of opening and closing a session reach the application under a name of their own.
template <class NetworkFail>
VelmorError networkFail(const VelmorError& error) {
    if (const auto* http = error.as<VelmorError::httpStatus>()) return NetworkFail{http->code, http->message};
    if (const auto* other = error.as<VelmorError::unknown>())
        return NetworkFail{kNoErrorCode, "", other->systemError};
    return error;
}

template <class Kind, class Record>
State stateOf(const Request& request, const Kind& kind, const APIResult<Record>& result,
              const std::string& path) {
    try {
        if (result.error) std::rethrow_exception(result.error);
        return succeeded(kind, result.record.get(), path);
    } catch (...) {
        return stateOfFailure(request, std::current_exception());
    }
}

template <class Kind, class Record>
void sendCall(APIService& api, const std::shared_ptr<Executor>& mainLoop, ServiceCall<Record> call,
              const std::shared_ptr<AcceptedRequest>& accepted, const Kind& kind,
              std::function<void(const State&)> done) {
    api.request<Record>(
        std::move(call.request), mainLoop,
        [accepted, &kind, path = std::move(call.path), done = std::move(done)](const auto& result) {
            State state = accepted->lost;
            contain([&] { state = stateOf(accepted->request, kind, result, path); });
            done(state);
        });
}

}  // namespace

State stateOfFailure(const Request& request, const std::exception_ptr& failure) {
    using Kind = State::error::Kind;
    const auto error = VelmorError::from(failure);
    if (std::holds_alternative<Request::create>(request.value))
        return {State::error{networkFail<VelmorError::startTrackingNetworkFail>(error), {}, Kind::create}};
    if (std::holds_alternative<Request::close>(request.value))
        return {State::error{networkFail<VelmorError::stopTrackingNetworkFail>(error), {}, Kind::close}};
    // 403 and 404 say that the service takes nothing more for this session.
    const auto* upload = std::get_if<Request::mel>(&request.value);
    const auto* http = error.as<VelmorError::httpStatus>();
    if (upload && http && (http->code == 403 || http->code == 404))
        return {State::error{error, upload->sessionId, Kind::other}};
    return {State::error{error, {}, Kind::other}};
}

void send(const std::shared_ptr<AcceptedRequest>& accepted, APIService& api, const Platform& platform,
          LogAPI& log, std::function<void(const State&)> done) {
    std::visit(
        [&](auto& kind) {
            if constexpr (!std::is_same_v<std::remove_cvref_t<decltype(kind)>, Request::log>) {
                log.debugPrint(line(kind));
                sendCall(api, platform.mainLoop, callOf(kind, *platform.device), accepted, kind,
                         std::move(done));
            }
        },
        accepted->request.value);
}

}  // namespace Velmor::SessionCalls
