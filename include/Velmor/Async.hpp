/// The result of a query that is under way. Wait for it with `get()`, hear of it with `then()`, or `co_await`
/// it.
#pragma once

#include <condition_variable>
#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <Velmor/Error.hpp>

namespace Velmor {

namespace detail {

template <class T>
using AsyncValue = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

/// One outcome, set once; those who wait are told on the thread that sets it.
template <class Value>
class AsyncState {
  public:
    using Outcome = std::variant<Value, VelmorError>;

    void set(Outcome outcome) {
        std::vector<std::function<void(const Outcome&)>> waiting;
        {
            const std::lock_guard lock(mutex_);
            if (outcome_) return;
            outcome_.emplace(std::move(outcome));
            waiting.swap(waiting_);
        }
        ready_.notify_all();
        tellAll(waiting);
    }

    const Outcome& wait() {
        std::unique_lock lock(mutex_);
        ready_.wait(lock, [this] { return outcome_.has_value(); });
        return *outcome_;
    }

    bool isReady() {
        const std::lock_guard lock(mutex_);
        return outcome_.has_value();
    }

    void whenReady(std::function<void(const Outcome&)> tell) {
        {
            const std::lock_guard lock(mutex_);
            if (!outcome_) {
                waiting_.push_back(std::move(tell));
                return;
            }
        }
        tell(*outcome_);
    }

  private:
    /// Everybody is told, also when one of them throws; the first exception goes on to whoever set the
    /// outcome.
    void tellAll(const std::vector<std::function<void(const Outcome&)>>& waiting) {
        std::exception_ptr failure;
        for (const auto& tell : waiting) {
            try {
                tell(*outcome_);
            } catch (...) {
                if (!failure) failure = std::current_exception();
            }
        }
        if (failure) std::rethrow_exception(failure);
    }

    std::mutex mutex_;  // guards all below until the outcome is set; the outcome does not change afterwards
    std::condition_variable ready_;
    std::optional<Outcome> outcome_;
    std::vector<std::function<void(const Outcome&)>> waiting_;
};

/// Made with the first promise, so that its end takes no memory.
inline const VelmorError& givenUp() {
    static const auto* const error = new VelmorError(VelmorError::unknown{
        std::make_exception_ptr(PlatformError(PlatformError::Kind::cancelled, "the query was given up"))});
    return *error;
}

}  // namespace detail

/// A handle: copies share the outcome, and dropping them all does not stop the query. Any thread.
template <class T>
class Async {
  public:
    using Value = detail::AsyncValue<T>;
    /// The value (std::monostate for void) or the error.
    using Outcome = std::variant<Value, VelmorError>;

    explicit Async(std::shared_ptr<detail::AsyncState<Value>> state) : state_(std::move(state)) {}

    bool isReady() const { return state_->isReady(); }

    /// Blocks until the outcome is there; throws the VelmorError. Not to be called on the library's own
    /// threads (from a delegate, say): the outcome would have to arrive on the very thread that waits.
    T get() const { return unwrap(state_->wait()); }

    /// `tell` is called once, on a thread of the library's, or at once on this one when the outcome is there
    /// already.
    void then(std::function<void(const Outcome&)> tell) const { state_->whenReady(std::move(tell)); }

    bool await_ready() const { return isReady(); }
    void await_suspend(std::coroutine_handle<> waiting) const {
        state_->whenReady([waiting](const Outcome&) { waiting.resume(); });
    }
    T await_resume() const { return get(); }

  private:
    static T unwrap(const Outcome& outcome) {
        if (const auto* error = std::get_if<VelmorError>(&outcome)) throw *error;
        if constexpr (!std::is_void_v<T>) return std::get<Value>(outcome);
    }

    std::shared_ptr<detail::AsyncState<Value>> state_;
};

/// The other end of an `Async`. Copies share it; the first outcome counts.
template <class T>
class AsyncPromise {
  public:
    using Value = detail::AsyncValue<T>;
    using Outcome = std::variant<Value, VelmorError>;

    Async<T> async() const { return Async<T>(guard_->state); }
    void set(Outcome outcome) const { guard_->state->set(std::move(outcome)); }

  private:
    /// Whoever waits must hear something, also when the query's owner went away before its answer came.
    struct Guard {
        std::shared_ptr<detail::AsyncState<Value>> state = std::make_shared<detail::AsyncState<Value>>();
        Guard() { detail::givenUp(); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;
        ~Guard() {
            try {
                state->set(detail::givenUp());
            } catch (...) {  // thrown by one who was told; a destructor has nobody to pass it on to
            }
        }
    };
    std::shared_ptr<Guard> guard_ = std::make_shared<Guard>();
};

}  // namespace Velmor
