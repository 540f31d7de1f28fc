/// What the copies of an `Async` share. Not for applications.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

#include <Velmor/Error.hpp>

namespace Velmor::detail {

/// One outcome, set once; those who wait are told on the thread that sets it.
template <class Value>
class AsyncState {
  public:
    using Outcome = std::variant<Value, VelmorError>;
    using Observer = std::function<void(const Outcome&)>;

    /// Everybody is told, also when one of them throws; the first exception goes on to the caller.
    void set(Outcome outcome) {
        std::vector<Observer> waiting;
        {
            const std::lock_guard lock(mutex_);
            if (outcome_) return;
            outcome_.emplace(std::move(outcome));
            waiting.swap(waiting_);
        }
        arrived_.notify_all();
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

    const Outcome& wait() {
        std::unique_lock lock(mutex_);
        arrived_.wait(lock, [this] { return outcome_.has_value(); });
        return *outcome_;
    }

    bool isReady() {
        const std::lock_guard lock(mutex_);
        return outcome_.has_value();
    }

    /// At once when the outcome is there.
    void whenReady(Observer tell) {
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
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::optional<Outcome> outcome_;  // does not change once it is set
    std::vector<Observer> waiting_;
};

/// The end that promises an outcome. When it goes away without one, those who wait hear that the query was
/// given up.
template <class Value>
class AsyncSource {
  public:
    AsyncSource() = default;
    AsyncSource(const AsyncSource&) = delete;
    AsyncSource& operator=(const AsyncSource&) = delete;
    ~AsyncSource() {
        try {
            state->set(givenUp_);
        } catch (...) {  // thrown by one who was told; a destructor has nobody to pass it on to
        }
    }

    const std::shared_ptr<AsyncState<Value>> state = std::make_shared<AsyncState<Value>>();

  private:
    // Made ahead, so that the end takes no memory.
    const VelmorError givenUp_ = VelmorError::unknown{
        std::make_exception_ptr(PlatformError(PlatformError::Kind::cancelled, "the query was given up"))};
};

}  // namespace Velmor::detail
