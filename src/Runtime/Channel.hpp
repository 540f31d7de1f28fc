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

/// Ends its observation when it goes away. Does not keep the channel alive.
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

template <class T>
class Channel {
  public:
    using Observer = std::function<void(const T&)>;

    [[nodiscard]] Subscription subscribe(Observer observer) {
        auto active = std::make_shared<std::atomic<bool>>(true);
        std::shared_ptr<const List> former;  // outlives the lock, as ended observers may own anything
        const Lock lock(mutex_);
        auto next = std::make_shared<List>();
        for (const auto& entry : *list_)
            if (entry.active->load(std::memory_order_acquire)) next->push_back(entry);
        next->push_back({active, std::make_shared<Observer>(std::move(observer))});
        former = std::exchange(list_, std::move(next));
        return Subscription(std::move(active));
    }

    /// Tells the observers on the calling thread, in the order of their subscription.
    void send(const T& value) const {
        const auto list = snapshot();  // observers may replace the current one
        for (const auto& entry : *list)
            if (entry.active->load(std::memory_order_acquire)) (*entry.observer)(value);
    }

  private:
    struct Entry {
        std::shared_ptr<std::atomic<bool>> active;
        std::shared_ptr<Observer> observer;
    };
    using List = std::vector<Entry>;

    std::shared_ptr<const List> snapshot() const {
        const Lock lock(mutex_);
        return list_;
    }

    mutable Mutex mutex_;  // of which list is current; a list does not change
    std::shared_ptr<const List> list_ VELMOR_GUARDED_BY(mutex_) = std::make_shared<List>();
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
