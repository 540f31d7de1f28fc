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

/// A chunk that was handed over and goes nowhere any more does not go without a line.
void account(const Request& request, LogAPI& log) {
    if (!std::holds_alternative<Request::mel>(request.value)) return;
    log.debugPrint("Tracking: already stopped");
    log.log(LogAPI::Level::W, "tracking", "[ST] already stopped");
}

/// What a request failed with when there is not even memory for its failure. Made ahead: copying takes none.
const VelmorError& withoutMemory(const Request& request) {
    struct Errors {
        VelmorError create = VelmorError::startTrackingNetworkFail{kNoErrorCode, ""};
        VelmorError close = VelmorError::stopTrackingNetworkFail{kNoErrorCode, ""};
        VelmorError other = VelmorError::unknown{std::make_exception_ptr(std::bad_alloc())};
    };
    static const auto* const errors = new Errors;
    if (std::holds_alternative<Request::create>(request.value)) return errors->create;
    return std::holds_alternative<Request::close>(request.value) ? errors->close : errors->other;
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
    service->bag_.add(service->requestAction.subscribe([weak = std::weak_ptr(service),
                                                        mainLoop = service->platform_->mainLoop,
                                                        log = service->log_](const Request& request) {
        mainLoop->post([weak, log, taken = std::make_shared<Request>(request)] {
            if (const auto self = weak.lock())
                self->take(taken);
            else
                account(*taken, *log);
        });
    }));
    return service;
}

SessionsService::SessionsService(const std::shared_ptr<const Platform>& platform,
                                 const std::shared_ptr<LogAPI>& log)
    : platform_(platform), log_(log), apiService_(std::make_shared<APIService>(platform_->http)) {
    withoutMemory({Request::log{}});
}

// Chunks that were taken in and not answered end here; each is accounted for.
SessionsService::~SessionsService() {
    if (headAnswered_) queue_.pop_front();  // the observer that was told of its end released the service
    for (const auto& request : queue_) account(*request, *log_);
}

void SessionsService::wake() {
    apiService_->deliverLate();
}

void SessionsService::take(const std::shared_ptr<Request>& request) {
    wake();
    if (isLifecycle(*request)) {
        try {
            queue_.push_back(request);
        } catch (...) {
            return publish(*request, {std::current_exception(), {}});
        }
        if (queue_.size() == 1) startHead();
    } else if (std::holds_alternative<Request::log>(request->value)) {
        startLog(request);
    } else {
        start(request, false);
    }
}

// The head stays in the queue as the sign that a request is under way.
void SessionsService::startHead() {
    const auto head = queue_.front();
    start(head, true);
}

void SessionsService::start(const std::shared_ptr<Request>& request, bool queued) {
    try {
        std::exception_ptr refusal;
        std::optional<HttpRequest> http;
        try {
            log_->debugPrint(SessionCalls::line(*request));
            http = SessionCalls::httpRequest(*request, *platform_->device);
        } catch (...) {
            refusal = std::current_exception();
        }
        const auto end = [service = weak_from_this(), request, queued](const APIOutcome& outcome) {
            finish(service, *request, queued, outcome);
        };
        if (http)
            apiService_->request(std::move(*http), platform_->mainLoop, SessionCalls::decoder(*request), end);
        else
            platform_->mainLoop->post([end, refusal] { end({refusal, {}}); });
    } catch (...) {  // no memory for the request, nor for a task that says so, but the queue must go on
        finish(weak_from_this(), *request, queued, {std::current_exception(), {}});
    }
}

void SessionsService::finish(const std::weak_ptr<SessionsService>& service, const Request& request,
                             bool queued, const APIOutcome& outcome) {
    if (const auto self = service.lock()) {
        if (queued) self->headAnswered_ = true;
        self->publish(request, outcome);
    }
    // An observer may have released the service, and nothing must go out then.
    if (const auto self = service.lock(); self && queued) self->finishHead();
}

void SessionsService::startLog(const std::shared_ptr<Request>& request) {
    platform_->background->post(
        [weak = std::weak_ptr(apiService_), platform = platform_, log = log_, request] {
            if (const auto api = weak.lock())
                uploadLog(*api, *platform, std::get<Request::log>(request->value),
                          [log] { log->removeSendFile(); });
        });
}

void SessionsService::finishHead() {
    headAnswered_ = false;
    queue_.pop_front();
    if (!queue_.empty()) startHead();
}

/// Whoever asked must hear an answer, even if there is no memory for it.
void SessionsService::publish(const Request& request, const APIOutcome& outcome) {
    std::optional<State> state;
    contain([&] { state.emplace(SessionCalls::stateOf(request, outcome)); });
    if (!state) state.emplace(State{State::error{withoutMemory(request), {}}});
    if (const auto* join = std::get_if<State::userJoin>(&state->value)) log_->setConfig(join->config);
    contain([&] { stateSender.send(*state); },
            [this](const std::string& reason) {
                log_->debugPrint({"API: an observer failed: ", reason});
            });
}

}  // namespace Velmor
