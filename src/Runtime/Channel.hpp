// Observer channels. A sender never waits for a lock while observers run; an observer that is ended during a
// send may still be told of that one value, never of a later one. Owners are to be captured weakly by what
// they subscribe.
#pragma once

#include "Runtime/ThreadSafety.hpp"

#include <atomic>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace Velmor {

/// Ends its observation when it goes away, with what the observer captured, if the channel has gone before.
/// Does not keep the channel alive.
class Subscription {
  public:
    Subscription() = default;
    explicit Subscription(std::shared_ptr<std::atomic<bool>> active) : active_(std::move(active)) {}
    Subscription(Subscription&&) noexcept = default;
    Subscription& operator=(Subscription&& other) noexcept {
        end();
        active_ = std::move(other.active_);
        return *this;
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() { end(); }

    void end() {
        if (active_) active_->store(false, std::memory_order_release);
        active_.reset();
    }

  private:
    std::shared_ptr<std::atomic<bool>> active_;
};

/// The subscriptions of one owner; they end with it.
class Bag {
  public:
    void add(Subscription subscription) { subscriptions_.push_back(std::move(subscription)); }
    void clear() { subscriptions_.clear(); }

  private:
    std::vector<Subscription> subscriptions_;
};

/// The observers of a channel, whatever its type: each is a function that knows what type the value has.
class Observers {
  public:
    using Tell = std::function<void(const void* value)>;

    [[nodiscard]] Subscription add(Tell tell);
    void tellAll(const void* value) const;

  private:
    struct Observer {
        explicit Observer(Tell given) : tell(std::move(given)) {}
        std::atomic<bool> active{true};
        const Tell tell;
    };
    using List = std::vector<std::shared_ptr<Observer>>;

    std::shared_ptr<const List> snapshot() const;

    mutable Mutex mutex_;  // of which list is current; a list does not change
    std::shared_ptr<const List> list_ VELMOR_GUARDED_BY(mutex_) = std::make_shared<List>();
};

template <class T>
class Channel {
  public:
    /// `observer` takes a `const T&`.
    template <class Observer>
    [[nodiscard]] Subscription subscribe(Observer observer) {
        return observers_.add([observer = std::move(observer)](const void* value) mutable {
            observer(*static_cast<const T*>(value));
        });
    }

    /// Tells the observers on the calling thread, in the order of their subscription.
    void send(const T& value) const { observers_.tellAll(&value); }

  private:
    Observers observers_;
};

/// A channel that remembers its last value.
template <class T>
class CurrentValue {
  public:
    explicit CurrentValue(T value) : value_(std::move(value)) {}

    T value() const {
        const Lock lock(mutex_);
        return value_;
    }

    void send(T value) {
        {
            const Lock lock(mutex_);
            value_ = value;
        }
        channel_.send(value);
    }

    /// Later values only.
    template <class Observer>
    [[nodiscard]] Subscription subscribe(Observer observer) {
        return channel_.subscribe(std::move(observer));
    }

  private:
    mutable Mutex mutex_;
    T value_ VELMOR_GUARDED_BY(mutex_);
    Channel<T> channel_;
};

}  // namespace Velmor
