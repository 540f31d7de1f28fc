/// The result of a query that is under way. Wait for it with `get()`, hear of it with `then()`, or `co_await`
/// it.
#pragma once

#include <coroutine>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>
#include <variant>

#include <Velmor/Error.hpp>
#include <Velmor/detail/AsyncState.hpp>

namespace Velmor {

template <class T>
class AsyncPromise;

/// A handle: copies share the outcome, and dropping them all does not stop the query. Any thread.
template <class T>
class Async {
  public:
    using Value = std::conditional_t<std::is_void_v<T>, std::monostate, T>;
    /// The value (std::monostate for void) or the error.
    using Outcome = std::variant<Value, VelmorError>;

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
    friend class AsyncPromise<T>;
    explicit Async(std::shared_ptr<detail::AsyncState<Value>> state) : state_(std::move(state)) {}

    static T unwrap(const Outcome& outcome) {
        if (const auto* error = std::get_if<VelmorError>(&outcome)) throw *error;
        if constexpr (!std::is_void_v<T>) return std::get<Value>(outcome);
    }

    std::shared_ptr<detail::AsyncState<Value>> state_;
};

/// The other end of an `Async`. Copies share it; the first outcome counts. When the last copy goes away
/// without an outcome, those who wait get `unknown` with a cancelled PlatformError.
template <class T>
class AsyncPromise {
  public:
    using Outcome = typename Async<T>::Outcome;

    Async<T> async() const { return Async<T>(source_->state); }
    void set(Outcome outcome) const { source_->state->set(std::move(outcome)); }

  private:
    using Source = detail::AsyncSource<typename Async<T>::Value>;

    std::shared_ptr<Source> source_ = std::make_shared<Source>();
};

}  // namespace Velmor
