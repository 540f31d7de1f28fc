// A mainloop of libpulse, and the thread that turns it. Objects of libpulse are used with the mutex held, on
// any thread; what others are told, they are told on the thread and without it.
#pragma once

#include "Platform/Linux/PulseApi.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <poll.h>
#include <thread>

#include <Velmor/Platform/Clock.hpp>

namespace Velmor {

/// Ended by its owner with `end`; the thread holds it too, so that it may be ended from inside a task.
class PulseLoop : public std::enable_shared_from_this<PulseLoop> {
  public:
    using Task = std::function<void()>;

    explicit PulseLoop(const std::shared_ptr<const Clock>& clock);
    PulseLoop(const PulseLoop&) = delete;
    PulseLoop& operator=(const PulseLoop&) = delete;
    ~PulseLoop();

    /// Not to be called on the thread while it holds the mutex (in a callback of libpulse's, a timer or a
    /// tap).
    Mutex& mutex() VELMOR_THREAD_SAFETY(lock_returned(mutex_)) { return mutex_; }
    /// Any thread but inside such a callback. Waits for the task that runs, unless it is the caller. Tasks
    /// and timers that are left are dropped.
    void end();

    // with the mutex held, in callbacks of libpulse too:

    /// Starts the thread, if it was not. Throws PlatformError.
    void start(const std::shared_ptr<const PulseApi>& pulse);
    pa_mainloop_api* api() const;
    BootTime now() const { return clock_->bootNow(); }
    /// Has the thread call `task` without the mutex, in order, soon.
    void tell(Task task);
    /// Has the thread call `task` with the mutex held.
    void after(std::chrono::nanoseconds delay, Task task);
    /// Lets the thread work until `met()` or the limit; gives the mutex up meanwhile. True when it was met.
    bool waitFor(Lock& lock, std::chrono::nanoseconds limit, const std::function<bool()>& met);

  private:
    void run();
    bool turn(std::chrono::nanoseconds longest) VELMOR_REQUIRES(mutex_);
    void runTimers() VELMOR_REQUIRES(mutex_);
    void deliver();
    void wake() VELMOR_REQUIRES(mutex_);
    static int pollUnlocked(pollfd* files, unsigned long count, int timeout, void* self)
        VELMOR_THREAD_SAFETY(no_thread_safety_analysis);

    const std::shared_ptr<const Clock> clock_;
    Mutex mutex_;  // guards what follows, and all objects of libpulse
    Condition changed_;
    std::shared_ptr<const PulseApi> pulse_ VELMOR_GUARDED_BY(mutex_);
    pa_mainloop* mainloop_ VELMOR_GUARDED_BY(mutex_) = nullptr;
    std::list<Task> toTell_ VELMOR_GUARDED_BY(mutex_);
    std::multimap<BootTime, Task> timers_ VELMOR_GUARDED_BY(mutex_);
    bool ended_ VELMOR_GUARDED_BY(mutex_) = false;
    std::thread thread_ VELMOR_GUARDED_BY(mutex_);
};

}  // namespace Velmor
