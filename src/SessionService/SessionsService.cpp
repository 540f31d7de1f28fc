#include "SessionService/SessionsService.hpp"

#include "APIService/APIService.hpp"
#include "APIService/Requests.hpp"
#include "Log/LogAPI.hpp"
#include "Log/LogUpload.hpp"
#include "Runtime/Contain.hpp"
#include "SessionService/SessionCalls.hpp"

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

template <class R, class Outcome>
State stateOf(const R& request, Outcome outcome) {
    try {
        if (const auto* error = std::get_if<std::exception_ptr>(&outcome))
            return {SessionCalls::failed(request, *error)};
        return SessionCalls::succeeded(request, std::move(std::get<0>(outcome)));
    } catch (...) {
        return {SessionCalls::failed(request, std::current_exception())};
    }
}

Json logBody(LogUpload::Request record) {
    return Json::Object{{"ddsource", std::move(record.ddsource)},
                        {"ddtags", std::move(record.ddtags)},
                        {"hostname", std::move(record.hostname)},
                        {"message", std::move(record.message)},
                        {"service", std::move(record.service)}};
}

/// Posts one text and calls `finished` whatever comes of it.
void uploadLog(APIService& api, const Platform& platform, Request::log request,
               const std::function<void()>& finished) {
    if (!request.config) return finished();
    const auto& config = *request.config;
    try {
        auto record =
            LogUpload::makeRequest(config, request.sessionId, std::move(request.message), *platform.device);
        api.request<LogUpload::Response>(
            jsonPost(LogUpload::url(platform), logBody(std::move(record)), config, *platform.device),
            platform.background, [finished](const APIService::Outcome<LogUpload::Response>&) { finished(); });
    } catch (...) {  // the text cannot be sent; it is dropped like one that did not arrive
        finished();
    }
}

}  // namespace

std::string_view rawValue(SessionsService::DataType dataType) {
    return dataType == SessionsService::DataType::mel ? "MELSPECTROGRAM" : "AUDIO";
}

std::shared_ptr<SessionsService> SessionsService::make(std::shared_ptr<const Platform> platform,
                                                       std::shared_ptr<LogAPI> log) {
    std::shared_ptr<SessionsService> service(new SessionsService(std::move(platform), std::move(log)));
    service->bag_.add(service->requestAction.subscribe([weak = std::weak_ptr(service),
                                                        mainLoop = service->platform_->mainLoop,
                                                        log = service->log_](const Request& request) {
        mainLoop->post([weak, log, taken = request]() mutable {
            if (const auto self = weak.lock())
                self->take(std::move(taken));
            else
                account(taken, *log);
        });
    }));
    return service;
}

SessionsService::SessionsService(std::shared_ptr<const Platform> platform, std::shared_ptr<LogAPI> log)
    : platform_(std::move(platform)),
      log_(std::move(log)),
      apiService_(std::make_shared<APIService>(platform_->http)) {}

// Chunks that were taken in and not answered end here; each is accounted for.
SessionsService::~SessionsService() {
    if (headAnswered_) queue_.pop_front();  // the observer that was told of its end released the service
    for (const auto& request : queue_) account(request, *log_);
}

void SessionsService::take(Request request) {
    if (isLifecycle(request)) {
        queue_.push_back(std::move(request));
        if (queue_.size() == 1) startHead();
        return;
    }
    std::visit([this](auto&& kind) { start(std::forward<decltype(kind)>(kind), false); },
               std::move(request.value));
}

// The head stays in the queue, emptied, as the sign that a request is under way.
void SessionsService::startHead() {
    std::visit([this](auto&& kind) { start(std::forward<decltype(kind)>(kind), true); },
               std::move(queue_.front().value));
}

template <class R>
void SessionsService::start(R request, bool queued) {
    using Record = typename SessionCalls::Answer<R>::Record;
    using Outcome = APIService::Outcome<Record>;
    log_->debugPrint(SessionCalls::line(request));
    std::exception_ptr refusal;
    std::optional<HttpRequest> http;
    try {
        http = SessionCalls::httpRequest(request, *platform_->device);
    } catch (...) {
        refusal = std::current_exception();
    }
    const auto finish = [service = weak_from_this(), request = std::move(request), queued](Outcome outcome) {
        if (const auto self = service.lock()) {
            if (queued) self->headAnswered_ = true;
            self->publish(stateOf(request, std::move(outcome)));
        }
        // An observer may have released the service, and nothing must go out then.
        if (const auto self = service.lock(); self && queued) self->finishHead();
    };
    if (http)
        apiService_->request<Record>(std::move(*http), platform_->mainLoop, finish);
    else
        platform_->mainLoop->post([finish, refusal] { finish(refusal); });
}

void SessionsService::start(Request::log request, bool) {
    platform_->background->post([weak = std::weak_ptr(apiService_), platform = platform_, log = log_,
                                 request = std::move(request)]() mutable {
        if (const auto api = weak.lock())
            uploadLog(*api, *platform, std::move(request), [log] { log->removeSendFile(); });
    });
}

void SessionsService::finishHead() {
    headAnswered_ = false;
    queue_.pop_front();
    if (!queue_.empty()) startHead();
}

void SessionsService::publish(const State& state) {
    contain([&] { stateSender.send(state); },
            [this](const std::string& reason) { log_->debugPrint("API: an observer failed: " + reason); });
}

}  // namespace Velmor
