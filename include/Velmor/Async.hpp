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

/// Whether an outcome is there, and who waits for it.
class AsyncGate {
  public:
    using Task = std::function<void()>;

    /// Locked for whoever comes first, who calls `open` once the outcome stands; not locked for later ones.
    std::unique_lock<std::mutex> lockUnlessOpen() {
        std::unique_lock lock(mutex_);
        if (open_) lock.unlock();
        return lock;
    }

    /// Everybody is told, also when one of them throws; the first exception goes on to whoever opens.
    void open(std::unique_lock<std::mutex> lock) {
        open_ = true;
        const auto waiting = std::exchange(waiting_, {});
        lock.unlock();
        opened_.notify_all();
        std::exception_ptr failure;
        for (const auto& tell : waiting) {
            try {
                tell();
            } catch (...) {
                if (!failure) failure = std::current_exception();
            }
        }
        if (failure) std::rethrow_exception(failure);
    }

    void waitUntilOpen() {
        std::unique_lock lock(mutex_);
        opened_.wait(lock, [this] { return open_; });
    }

    bool isOpen() {
        const std::lock_guard lock(mutex_);
        return open_;
    }

    void whenOpen(Task tell) {
        {
            const std::lock_guard lock(mutex_);
            if (!open_) {
                waiting_.push_back(std::move(tell));
                return;
            }
        }
        tell();
    }

  private:
    std::mutex mutex_;
    std::condition_variable opened_;
    bool open_ = false;
    std::vector<Task> waiting_;
};

/// One outcome, set once; those who wait are told on the thread that sets it.
template <class Value>
class AsyncState : public AsyncGate {
  public:
    using Outcome = std::variant<Value, VelmorError>;

    void set(Outcome outcome) {
        auto lock = lockUnlessOpen();
        if (!lock) return;
        outcome_.emplace(std::move(outcome));
        open(std::move(lock));
    }

    const Outcome& wait() {
        waitUntilOpen();
        return *outcome_;
    }

    void whenReady(std::function<void(const Outcome&)> tell) {
        if (isOpen()) return tell(*outcome_);
        whenOpen([this, tell = std::move(tell)] { tell(*outcome_); });
    }

  private:
    std::optional<Outcome> outcome_;  // written once with the gate locked; does not change when it is open
};

/// Made with the first promise, so that its end takes no memory.
inline const VelmorError& givenUp() {
    static const auto* const error = new VelmorError(VelmorError::unknown{
        std::make_exception_ptr(PlatformError(PlatformError::Kind::cancelled, "the query was given up"))});
    return *error;
}

/// Whoever waits must hear something, also when the query's owner went away before its answer came.
class AsyncGuard {
  public:
    using GiveUp = void (*)(void* state);

    AsyncGuard(std::shared_ptr<void> state, GiveUp giveUp) : state_(std::move(state)), giveUp_(giveUp) {
        givenUp();
    }
    AsyncGuard(const AsyncGuard&) = delete;
    AsyncGuard& operator=(const AsyncGuard&) = delete;
    ~AsyncGuard() {
        try {
            giveUp_(state_.get());
        } catch (...) {  // thrown by one who was told; a destructor has nobody to pass it on to
        }
    }

  private:
    const std::shared_ptr<void> state_;
    const GiveUp giveUp_;
};

}  // namespace detail

/// A handle: copies share the outcome, and dropping them all does not stop the query. Any thread.
template <class T>
class Async {
  public:
    using Value = detail::AsyncValue<T>;
    /// The value (std::monostate for void) or the error.
    using Outcome = std::variant<Value, VelmorError>;

    explicit Async(std::shared_ptr<detail::AsyncState<Value>> state) : state_(std::move(state)) {}

    bool isReady() const { return state_->isOpen(); }

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

    Async<T> async() const { return Async<T>(state_); }
    void set(Outcome outcome) const { state_->set(std::move(outcome)); }

  private:
    using State = detail::AsyncState<Value>;

    static void giveUp(void* state) { static_cast<State*>(state)->set(detail::givenUp()); }

    std::shared_ptr<State> state_ = std::make_shared<State>();
    std::shared_ptr<detail::AsyncGuard> guard_ = std::make_shared<detail::AsyncGuard>(state_, giveUp);
};

}  // namespace Velmor
