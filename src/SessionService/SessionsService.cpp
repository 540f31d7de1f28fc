#include "SessionService/SessionsService.hpp"

#include "APIService/APIService.hpp"
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
    try {
        auto call = LogUpload::call(platform, *request.config, request.sessionId, std::move(request.message));
        api.request<LogUpload::Response>(std::move(call), platform.background,
                                         [finished](const auto&) { finished(); });
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
            const auto failure = std::make_exception_ptr(std::bad_alloc());
            const auto accepted = std::make_shared<AcceptedRequest>(
                AcceptedRequest{request, SessionCalls::stateOfFailure(request, failure)});
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

void SessionsService::take(const Accepted& accepted) {
    if (std::holds_alternative<Request::log>(accepted->request.value)) return startLog(accepted);
    if (!isLifecycle(accepted->request)) return start(accepted);
    try {
        queue_.push_back(accepted);
    } catch (...) {
        return publish(accepted->lost);
    }
    if (queue_.size() == 1) start(accepted);
}

void SessionsService::start(const Accepted& accepted) {
    const auto end = [weak = weak_from_this(), accepted](const State& state) {
        finish(weak, *accepted, state);
    };
    try {
        SessionCalls::send(accepted, *apiService_, *platform_, *log_, end);
    } catch (...) {
        auto refused = accepted->lost;
        contain([&, error = std::current_exception()] {
            refused = SessionCalls::stateOfFailure(accepted->request, error);
        });
        try {
            platform_->mainLoop->post([end, refused] { end(refused); });
        } catch (...) {  // no memory for a task, but the queue must go on
            end(refused);
        }
    }
}

void SessionsService::startLog(const Accepted& accepted) {
    platform_->background->post(
        [weak = std::weak_ptr(apiService_), platform = platform_, log = log_, accepted] {
            if (const auto api = weak.lock())
                uploadLog(*api, *platform, std::get<Request::log>(accepted->request.value),
                          [log] { log->removeSendFile(); });
        });
}

void SessionsService::finish(const std::weak_ptr<SessionsService>& service, const AcceptedRequest& accepted,
                             const State& state) {
    const bool queued = isLifecycle(accepted.request);
    if (const auto self = service.lock()) {
        if (queued) self->queue_.pop_front();
        self->publish(state);
    }
    // An observer may have released the service, and nothing must go out then.
    const auto self = service.lock();
    if (self && queued && !self->queue_.empty()) self->start(self->queue_.front());
}

void SessionsService::publish(const State& state) {
    if (const auto* join = std::get_if<State::userJoin>(&state.value)) log_->setConfig(join->config);
    contain([&] { stateSender.send(state); },
            [this](const std::string& reason) {
                log_->debugPrint({"API: an observer failed: ", reason});
            });
}

}  // namespace Velmor
