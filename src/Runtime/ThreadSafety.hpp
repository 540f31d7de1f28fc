// Mutexes that say what they guard, so that clang proves at compile time that nobody touches it without the
// lock
// (-Wthread-safety). Nothing but names to other compilers.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define VELMOR_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define VELMOR_THREAD_SAFETY(attribute)
#endif

/// Behind a member: it is used with the mutex held only.
#define VELMOR_GUARDED_BY(mutex) VELMOR_THREAD_SAFETY(guarded_by(mutex))
/// Behind a function's parameters: its callers hold the mutex.
#define VELMOR_REQUIRES(...) VELMOR_THREAD_SAFETY(requires_capability(__VA_ARGS__))

namespace Velmor {

class VELMOR_THREAD_SAFETY(capability("mutex")) Mutex {
  public:
    void lock() VELMOR_THREAD_SAFETY(acquire_capability()) { mutex_.lock(); }
    void unlock() VELMOR_THREAD_SAFETY(release_capability()) { mutex_.unlock(); }
    /// For code that others call with the mutex held, through ways that cannot be annotated.
    void assertHeld() const VELMOR_THREAD_SAFETY(assert_capability(this)) {}

  private:
    friend class Lock;
    std::mutex mutex_;
};

/// Holds a mutex to the end of its scope; may give it up in between.
class VELMOR_THREAD_SAFETY(scoped_lockable) Lock {
  public:
    explicit Lock(Mutex& mutex) VELMOR_THREAD_SAFETY(acquire_capability(mutex)) : lock_(mutex.mutex_) {}
    ~Lock() VELMOR_THREAD_SAFETY(release_capability()) = default;
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void lock() VELMOR_THREAD_SAFETY(acquire_capability()) { lock_.lock(); }
    void unlock() VELMOR_THREAD_SAFETY(release_capability()) { lock_.unlock(); }

  private:
    friend class Condition;
    std::unique_lock<std::mutex> lock_;
};

class Condition {
  public:
    void notifyOne() { condition_.notify_one(); }
    void notifyAll() { condition_.notify_all(); }

    void wait(Lock& lock) { condition_.wait(lock.lock_); }
    void waitFor(Lock& lock, std::chrono::nanoseconds time) { condition_.wait_for(lock.lock_, time); }
    /// True when it was met; what looks says for itself that it holds the mutex.
    template <class Met>
    bool waitFor(Lock& lock, std::chrono::nanoseconds time, const Met& met) {
        return condition_.wait_for(lock.lock_, time, met);
    }

  private:
    std::condition_variable condition_;
};

}  // namespace Velmor
