#include "Runtime/ThreadSafety.hpp"

#include <algorithm>
#include <deque>
#include <utility>

#include <Velmor/Testing/ScriptedTransport.hpp>

namespace Velmor::Testing {

struct ScriptedTransport::State {
    struct Answer {
        std::optional<HttpResult> result;  ///< none: silence
        std::optional<std::chrono::nanoseconds> delay;
    };

    /// One request; whoever takes the completion first decides how it ends.
    struct Flight {
        Completion completion;
        bool over = false;
    };

    class Exchange : public HttpExchange {
      public:
        Exchange(std::shared_ptr<State> state, std::shared_ptr<Flight> flight)
            : state_(std::move(state)), flight_(std::move(flight)) {}
        ~Exchange() override { state_->giveUp(*flight_); }

      private:
        const std::shared_ptr<State> state_;
        const std::shared_ptr<Flight> flight_;
    };

    explicit State(std::shared_ptr<Executor> on) : executor(std::move(on)) {}

    /// Empty when the request is over already.
    Completion finish(Flight& flight) {
        const Lock lock(mutex);
        if (flight.over) return {};
        flight.over = true;
        --inFlight;
        return std::exchange(flight.completion, {});
    }

    void giveUp(Flight& flight) {
        const auto unused = finish(flight);  // destroyed outside the lock
        if (!unused) return;
        const Lock lock(mutex);
        ++cancelled;
    }

    /// The next answer and the time it takes.
    Answer answer(const HttpRequest& request) {
        Handler ask;
        {
            const Lock lock(mutex);
            if (!queue.empty()) {
                auto next = std::move(queue.front());
                queue.pop_front();
                if (!next.delay) next.delay = delay;
                return next;
            }
            ask = handler;
        }
        auto result =
            ask ? ask(request)
                : HttpResult(PlatformError(PlatformError::Kind::cannotConnect,
                                           "nothing is scripted for " + request.url.absoluteString()));
        const Lock lock(mutex);
        return {std::move(result), delay};
    }

    const std::shared_ptr<Executor> executor;
    mutable Mutex mutex;  // guards all below, and what a Flight holds
    std::deque<Answer> queue VELMOR_GUARDED_BY(mutex);
    Handler handler VELMOR_GUARDED_BY(mutex);
    std::chrono::nanoseconds delay VELMOR_GUARDED_BY(mutex){0};
    std::vector<HttpRequest> requests VELMOR_GUARDED_BY(mutex);
    std::size_t inFlight VELMOR_GUARDED_BY(mutex) = 0;
    std::size_t mostInFlight VELMOR_GUARDED_BY(mutex) = 0;
    std::size_t cancelled VELMOR_GUARDED_BY(mutex) = 0;
};

ScriptedTransport::ScriptedTransport(std::shared_ptr<Executor> executor)
    : state_(std::make_shared<State>(std::move(executor))) {}

ScriptedTransport::~ScriptedTransport() = default;

std::unique_ptr<HttpExchange> ScriptedTransport::send(HttpRequest request, Completion completion) {
    auto flight = std::make_shared<State::Flight>();
    flight->completion = std::move(completion);
    {
        const Lock lock(state_->mutex);
        state_->requests.push_back(request);
        state_->mostInFlight = std::max(state_->mostInFlight, ++state_->inFlight);
    }
    auto [result, delay] = state_->answer(request);
    const std::chrono::nanoseconds limit = std::min(request.idleLimit, request.totalLimit);
    if (!result || *delay > limit) {
        delay = limit;
        result = PlatformError(PlatformError::Kind::timedOut, "no answer within the request's limits");
    }
    auto exchange = std::make_unique<State::Exchange>(state_, flight);
    auto end = [state = std::weak_ptr(state_), flight, result = std::move(*result)]() mutable {
        const auto alive = state.lock();
        if (!alive) return;
        if (const auto tell = alive->finish(*flight)) tell(std::move(result));
    };
    if (delay->count() > 0)
        state_->executor->postAfter(*delay, std::move(end));
    else
        state_->executor->post(std::move(end));
    return exchange;
}

void ScriptedTransport::enqueue(HttpResult result, std::optional<std::chrono::nanoseconds> delay) {
    const Lock lock(state_->mutex);
    state_->queue.push_back({std::move(result), delay});
}

void ScriptedTransport::enqueueStatus(int status, std::string body) {
    enqueue(HttpResponse{status, {}, std::move(body)});
}

void ScriptedTransport::enqueueFailure(PlatformError::Kind kind, std::string_view message) {
    enqueue(PlatformError(kind, message));
}

void ScriptedTransport::enqueueSilence() {
    const Lock lock(state_->mutex);
    state_->queue.push_back({});
}

void ScriptedTransport::setHandler(Handler handler) {
    const Lock lock(state_->mutex);
    state_->handler.swap(handler);
}

void ScriptedTransport::setDelay(std::chrono::nanoseconds delay) {
    const Lock lock(state_->mutex);
    state_->delay = delay;
}

std::vector<HttpRequest> ScriptedTransport::requests() const {
    const Lock lock(state_->mutex);
    return state_->requests;
}

std::size_t ScriptedTransport::requestCount() const {
    const Lock lock(state_->mutex);
    return state_->requests.size();
}

std::size_t ScriptedTransport::inFlight() const {
    const Lock lock(state_->mutex);
    return state_->inFlight;
}

std::size_t ScriptedTransport::mostInFlight() const {
    const Lock lock(state_->mutex);
    return state_->mostInFlight;
}

std::size_t ScriptedTransport::cancelled() const {
    const Lock lock(state_->mutex);
    return state_->cancelled;
}

}  // namespace Velmor::Testing
