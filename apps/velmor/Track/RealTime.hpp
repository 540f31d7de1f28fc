// Timers in time as it passes, for a source that stands in for a microphone.
#pragma once

#include "Runtime/ThreadSafety.hpp"

#include <cstdint>
#include <map>
#include <memory>
#include <thread>
#include <utility>

#include <Velmor/Platform/Clock.hpp>
#include <Velmor/Platform/Executor.hpp>

namespace VelmorApp {

/// One thread that runs tasks when they are due.
class TimerThread : public Velmor::Executor {
  public:
    explicit TimerThread(std::shared_ptr<Velmor::Clock> clock);
    /// Waits for the task that runs, if any.
    ~TimerThread() override;
    TimerThread(const TimerThread&) = delete;
    TimerThread& operator=(const TimerThread&) = delete;

    void post(Task task) override { postAfter({}, std::move(task)); }
    void postAfter(std::chrono::nanoseconds delay, Task task) override;

  private:
    void run();

    const std::shared_ptr<Velmor::Clock> clock_;
    Velmor::Mutex mutex_;  // guards what follows
    Velmor::Condition changed_;
    std::map<std::pair<Velmor::BootTime, std::uint64_t>, Task> tasks_ VELMOR_GUARDED_BY(mutex_);
    std::uint64_t order_ VELMOR_GUARDED_BY(mutex_) = 0;
    bool ended_ VELMOR_GUARDED_BY(mutex_) = false;
    std::thread thread_;  // last: it uses all of the above
};

}  // namespace VelmorApp
