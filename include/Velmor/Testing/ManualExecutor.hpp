/// Time and work that a test moves by hand: one executor that stands for all of the library's, and its clock.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include <Velmor/Platform/Clock.hpp>
#include <Velmor/Platform/Executor.hpp>

namespace Velmor::Testing {

/// A clock that stands still until it is moved. Any thread.
class VirtualClock : public Clock {
  public:
    /// `start` is the time of day at which boot time is zero.
    explicit VirtualClock(WallTime start = WallTime{std::chrono::seconds{1'700'000'000}});

    WallTime wallNow() const override;
    BootTime bootNow() const override;

    void advance(std::chrono::nanoseconds by);
    /// Sets the time of day alone, as a user or a time server does.
    void stepWall(std::chrono::nanoseconds by);

  private:
    mutable std::mutex mutex_;  // guards both
    BootTime boot_{};
    std::chrono::nanoseconds wallAtBoot_;
};

/// Runs nothing by itself. `post` and `postAfter` may be called on any thread; the others on one thread, not
/// from inside a task. Tasks run in the order of their time, at equal times in the order of posting.
class ManualExecutor : public Executor {
  public:
    explicit ManualExecutor(std::shared_ptr<VirtualClock> clock);

    void post(Task task) override;
    void postAfter(std::chrono::nanoseconds delay, Task task) override;

    /// Runs what is due now until nothing is. Returns how many tasks ran.
    std::size_t runUntilIdle();
    /// Advances the clock by `duration`, stopping at each timer on the way to run it.
    void advance(std::chrono::nanoseconds duration);
    /// Advances the clock to the next timer and runs until idle. False when there is none at or before
    /// `limit`; the clock is not moved then.
    bool advanceToNext(BootTime limit = BootTime::max());
    /// When the next task is due; none when there is none.
    std::optional<BootTime> next() const;
    /// Blocks until a task is due or `timeout` of real time has passed; for drivers whose tasks come from
    /// real threads.
    bool waitForWork(std::chrono::nanoseconds timeout);

    const std::shared_ptr<VirtualClock>& clock() const { return clock_; }

  private:
    Task takeDue();

    const std::shared_ptr<VirtualClock> clock_;
    mutable std::mutex mutex_;  // guards all below
    std::condition_variable posted_;
    std::map<std::pair<BootTime, std::uint64_t>, Task> tasks_;
    std::uint64_t order_ = 0;
};

}  // namespace Velmor::Testing
