#include "Runtime/ThreadExecutor.hpp"

#include "Platform/ThisThread.hpp"
#include "Runtime/OwnThread.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Velmor {
namespace {

// Longest single wait: the clock that counts sleep cannot be waited on, so after a suspend a timer is looked
// at again no later than this.
constexpr std::chrono::seconds kLongestWait{1};

// Lives as long as the last thread, which may outlast the executor that started it.
class Queue {
  public:
    explicit Queue(const std::shared_ptr<Clock>& clock) : clock_(clock) {}

    void post(Executor::Task task) {
        {
            const Lock lock(mutex_);
            if (stopped_) return;
            ready_.push_back(std::move(task));
        }
        wake_.notifyOne();
    }

    void postAfter(std::chrono::nanoseconds delay, Executor::Task task) {
        Tasks one;  // made, and in case destroyed, outside the lock
        one.push_back(std::move(task));
        {
            const Lock lock(mutex_);
            if (stopped_) return;
            timers_.emplace(clock_->bootNow() + delay, std::move(one));
        }
        wake_.notifyOne();
    }

    void stop() {
        Tasks ready;  // destroyed outside the lock: a task may own anything
        std::multimap<BootTime, Tasks> timers;
        {
            const Lock lock(mutex_);
            stopped_ = true;
            ready.swap(ready_);
            timers.swap(timers_);
        }
        wake_.notifyAll();
    }

    void work() {
        while (auto task = next()) {
            task();
            task = nullptr;
        }
    }

  private:
    using Tasks = std::list<Executor::Task>;

    Executor::Task next() {
        Lock lock(mutex_);
        while (!stopped_) {
            takeDueTimers();
            if (!ready_.empty()) {
                auto task = std::move(ready_.front());
                ready_.pop_front();
                // This thread is gone for as long as the task takes: another watches what is left.
                if (!ready_.empty() || !timers_.empty()) wake_.notifyOne();
                return task;
            }
            if (timers_.empty()) {
                wake_.wait(lock);
            } else {
                const auto wait = timers_.begin()->first - clock_->bootNow();
                wake_.waitFor(lock, std::min<std::chrono::nanoseconds>(wait, kLongestWait));
            }
        }
        return {};
    }

    // Without memory of its own: nobody would hear that there is none.
    void takeDueTimers() VELMOR_REQUIRES(mutex_) {
        const auto now = timers_.empty() ? BootTime{} : clock_->bootNow();
        while (!timers_.empty() && timers_.begin()->first <= now) {
            ready_.splice(ready_.end(), timers_.begin()->second);
            timers_.erase(timers_.begin());
        }
    }

    const std::shared_ptr<Clock> clock_;
    Mutex mutex_;
    Condition wake_;
    Tasks ready_ VELMOR_GUARDED_BY(mutex_);
    std::multimap<BootTime, Tasks> timers_ VELMOR_GUARDED_BY(mutex_);  // one each
    bool stopped_ VELMOR_GUARDED_BY(mutex_) = false;
};

class ThreadExecutor : public Executor {
  public:
    ThreadExecutor(const std::shared_ptr<Clock>& clock, int threads, const char* name, bool lowPriority)
        : queue_(std::make_shared<Queue>(clock)), threads_(threads), name_(name), low_(lowPriority) {}

    ~ThreadExecutor() override {
        queue_->stop();
        for (auto& thread : running_) takeLeave(thread);  // each holds the queue
    }

    void post(Task task) override {
        start();
        queue_->post(std::move(task));
    }

    void postAfter(std::chrono::nanoseconds delay, Task task) override {
        start();
        queue_->postAfter(delay, std::move(task));
    }

  private:
    // Where the system has no thread left the tasks wait, and the next one tries again.
    void start() {
        try {
            const Lock lock(mutex_);
            while (running_.size() < static_cast<std::size_t>(threads_)) addThread();
        } catch (const std::system_error&) {
        }
    }

    void addThread() VELMOR_REQUIRES(mutex_) {
        running_.emplace_back([queue = queue_, name = name_, low = low_] {
            isOwnThread = true;
            nameThisThread(name.c_str());
            if (low) lowerPriorityOfThisThread();
            queue->work();
        });
    }

    const std::shared_ptr<Queue> queue_;
    const int threads_;
    const std::string name_;
    const bool low_;
    Mutex mutex_;
    std::vector<std::thread> running_ VELMOR_GUARDED_BY(mutex_);
};

}  // namespace

std::shared_ptr<Executor> makeThreadExecutor(const std::shared_ptr<Clock>& clock, int threads,
                                             const char* name, bool lowPriority) {
    return std::make_shared<ThreadExecutor>(clock, threads, name, lowPriority);
}

}  // namespace Velmor
