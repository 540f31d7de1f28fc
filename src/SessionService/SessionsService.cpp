#include "SessionService/SessionsService.hpp"

#include "APIService/APIService.hpp"
#include "APIService/Encode.hpp"
#include "APIService/Requests.hpp"
#include "Log/LogAPI.hpp"
#include "Log/LogUpload.hpp"
#include "Runtime/Contain.hpp"
#include "SessionService/SessionCalls.hpp"

#include <new>
#include <utility>

namespace Velmor {
namespace {

using Request = SessionsService::Request;
using State = SessionsService::State;

bool isLifecycle(const Request& request) {
    return std::holds_alternative<Request::create>(request.value) ||
           std::holds_alternative<Request::mel>(request.value) ||
           std::holds_alternative<Request::close>(request.value);
}

void logDropped(const Request& request, LogAPI& log) {
    if (!std::holds_alternative<Request::mel>(request.value)) return;
    log.debugPrint("Tracking: already stopped");
    log.log(LogAPI::Level::W, "tracking", "[ST] already stopped");
}

/// Posts one text and calls `finished` whatever comes of it.
void uploadLog(APIService& api, const Platform& platform, Request::log& request,
               const std::function<void()>& finished) {
    if (!request.config) return finished();
    const auto& config = *request.config;
    try {
        const auto record =
            LogUpload::makeRequest(config, request.sessionId, std::move(request.message), *platform.device);
        api.request(jsonPost(LogUpload::url(platform), encode(record), config, *platform.device),
                    platform.background, decodeRecord<LogUpload::Response>,
                    [finished](const APIOutcome&) { finished(); });
    } catch (...) {  // the text cannot be sent; it is dropped like one that did not arrive
        finished();
    }
}

}  // namespace

std::string_view rawValue(SessionsService::DataType dataType) {
    return dataType == SessionsService::DataType::mel ? "MELSPECTROGRAM" : "AUDIO";
}

std::shared_ptr<SessionsService> SessionsService::make(const std::shared_ptr<const Platform>& platform,
                                                       const std::shared_ptr<LogAPI>& log) {
    std::shared_ptr<SessionsService> service(new SessionsService(platform, log));
    service->bag_.add(service->requestAction.subscribe(
        [weak = std::weak_ptr(service), mainLoop = platform->mainLoop, log](const Request& request) {
            // All that a failure takes is made here, where the sender still hears that there is no memory.
            const auto accepted = std::make_shared<Accepted>(
                request, SessionCalls::stateOf(request, {std::make_exception_ptr(std::bad_alloc()), {}}));
            mainLoop->post([weak, log, accepted] {
                if (const auto self = weak.lock())
                    self->take(accepted);
                else
                    logDropped(accepted->request, *log);
            });
        }));
    return service;
}

SessionsService::SessionsService(const std::shared_ptr<const Platform>& platform,
                                 const std::shared_ptr<LogAPI>& log)
    : platform_(platform), log_(log), apiService_(std::make_shared<APIService>(platform_->http)) {}

SessionsService::~SessionsService() {
    for (const auto& accepted : queue_) logDropped(accepted->request, *log_);
}

void SessionsService::take(const AcceptedRequest& accepted) {
    if (std::holds_alternative<Request::log>(accepted->request.value)) return startLog(accepted);
    if (!isLifecycle(accepted->request)) return start(accepted);
    try {
        queue_.push_back(accepted);
    } catch (...) {
        return publish(*accepted, {std::current_exception(), {}});
    }
    if (queue_.size() == 1) start(accepted);
}

void SessionsService::start(const AcceptedRequest& accepted) {
    const auto end = [weak = weak_from_this(), accepted](const APIOutcome& outcome) {
        finish(weak, *accepted, outcome);
    };
    const auto& mainLoop = platform_->mainLoop;
    try {
        auto& request = accepted->request;
        log_->debugPrint(SessionCalls::line(request));
        apiService_->request(SessionCalls::httpRequest(request, *platform_->device), mainLoop,
                             SessionCalls::decoder(request), end);
    } catch (...) {
        const APIOutcome refusal{std::current_exception(), {}};
        try {
            mainLoop->post([end, refusal] { end(refusal); });
        } catch (...) {  // no memory for a task either, but the queue must go on
            end(refusal);
        }
    }
}

void SessionsService::startLog(const AcceptedRequest& accepted) {
    platform_->background->post(
        [weak = std::weak_ptr(apiService_), platform = platform_, log = log_, accepted] {
            if (const auto api = weak.lock())
                uploadLog(*api, *platform, std::get<Request::log>(accepted->request.value),
                          [log] { log->removeSendFile(); });
        });
}

void SessionsService::finish(const std::weak_ptr<SessionsService>& service, const Accepted& accepted,
                             const APIOutcome& outcome) {
    const bool queued = isLifecycle(accepted.request);
    if (const auto self = service.lock()) {
        if (queued) self->queue_.pop_front();
        self->publish(accepted, outcome);
    }
    // An observer may have released the service, and nothing must go out then.
    const auto self = service.lock();
    if (self && queued && !self->queue_.empty()) self->start(self->queue_.front());
}

void SessionsService::publish(const Accepted& accepted, const APIOutcome& outcome) {
    State state = accepted.lost;
    contain([&] { state = SessionCalls::stateOf(accepted.request, outcome); });
    if (const auto* join = std::get_if<State::userJoin>(&state.value)) log_->setConfig(join->config);
    contain([&] { stateSender.send(state); },
            [this](const std::string& reason) {
                log_->debugPrint({"API: an observer failed: ", reason});
            });
}

}  // namespace Velmor
