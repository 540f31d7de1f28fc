// Observer channels: a sender tells whoever has subscribed. Any thread; no lock is held while observers run.
#pragma once

#include "Runtime/ThreadSafety.hpp"

#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace Velmor {

/// Owns an observer, so that the observation ends with it. An observer that is ended while a value is being
/// sent may still be told of that value, never of a later one. Observers should hold their owner weakly.
class Subscription {
  public:
    Subscription() = default;
    explicit Subscription(std::shared_ptr<const void> observer) : observer_(std::move(observer)) {}

    void end() { observer_.reset(); }

  private:
    std::shared_ptr<const void> observer_;
};

/// The subscriptions of one owner; they end with it.
class Bag {
  public:
    void add(Subscription subscription) { subscriptions_.push_back(std::move(subscription)); }
    void clear() { subscriptions_.clear(); }

  private:
    std::vector<Subscription> subscriptions_;
};

template <class T>
class Channel {
  public:
    using Observer = std::function<void(const T&)>;

    [[nodiscard]] Subscription subscribe(Observer observer) {
        auto owned = std::make_shared<const Observer>(std::move(observer));
        const Lock lock(mutex_);
        auto next = std::make_shared<Observers>();
        std::ranges::copy_if(*observers_, std::back_inserter(*next),
                             [](const auto& earlier) { return !earlier.expired(); });
        next->push_back(owned);
        observers_ = std::move(next);
        return Subscription(std::move(owned));
    }

    /// Tells the observers on the calling thread, in the order of their subscription. Takes no memory.
    void send(const T& value) const {
        const auto observers = current();  // one of them may subscribe another
        for (const auto& weak : *observers)
            if (const auto observer = weak.lock()) (*observer)(value);
    }

  private:
    using Observers = std::vector<std::weak_ptr<const Observer>>;

    std::shared_ptr<const Observers> current() const {
        const Lock lock(mutex_);
        return observers_;
    }

    mutable Mutex mutex_;  // of which list is current; a list does not change
    std::shared_ptr<const Observers> observers_ VELMOR_GUARDED_BY(mutex_) = std::make_shared<Observers>();
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
    [[nodiscard]] Subscription subscribe(typename Channel<T>::Observer observer) {
        return channel_.subscribe(std::move(observer));
    }

  private:
    mutable Mutex mutex_;
    T value_ VELMOR_GUARDED_BY(mutex_);
    Channel<T> channel_;
};

}  // namespace Velmor
