#include "Runtime/ThreadExecutor.hpp"

#include "Platform/ThisThread.hpp"
#include "Runtime/OwnThread.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <cstdint>
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

// Tasks in the order of the time from which they may run. Lives as long as the last thread, which may outlast
// the executor that started it.
class TaskQueue {
  public:
    explicit TaskQueue(const std::shared_ptr<Clock>& clock) : clock_(clock) {}

    void add(std::chrono::nanoseconds delay, Executor::Task task) {
        {
            const Lock lock(mutex_);
            if (stopped_) return;
            tasks_.emplace(clock_->bootNow() + delay, std::move(task));
        }
        changed_.notifyOne();
    }

    void stop() {
        Tasks dropped;  // destroyed outside the lock: a task may own anything
        {
            const Lock lock(mutex_);
            stopped_ = true;
            dropped.swap(tasks_);
        }
        changed_.notifyAll();
    }

    void work() {
        while (auto task = next()) {
            task();
            task = nullptr;
        }
    }

  private:
    using Tasks = std::multimap<BootTime, Executor::Task>;

    Executor::Task next() {
        Lock lock(mutex_);
        while (!stopped_) {
            if (tasks_.empty()) {
                changed_.wait(lock);
                continue;
            }
            const auto wait = tasks_.begin()->first - clock_->bootNow();
            if (wait > std::chrono::nanoseconds{0}) {
                changed_.waitFor(lock, std::min<std::chrono::nanoseconds>(wait, kLongestWait));
                continue;
            }
            auto task = std::move(tasks_.begin()->second);
            tasks_.erase(tasks_.begin());
            // This thread is gone for as long as the task takes: another watches what is left.
            if (!tasks_.empty()) changed_.notifyOne();
            return task;
        }
        return {};
    }

    const std::shared_ptr<Clock> clock_;
    Mutex mutex_;
    Condition changed_;
    Tasks tasks_ VELMOR_GUARDED_BY(mutex_);
    bool stopped_ VELMOR_GUARDED_BY(mutex_) = false;
};

class ThreadExecutor : public Executor {
  public:
    ThreadExecutor(const std::shared_ptr<Clock>& clock, int threads, const char* name, bool lowPriority)
        : queue_(std::make_shared<TaskQueue>(clock)), threads_(threads), name_(name), low_(lowPriority) {}

    ~ThreadExecutor() override {
        queue_->stop();
        for (auto& thread : running_) joinOrDetach(thread);  // each holds the queue
    }

    void post(Task task) override { postAfter(std::chrono::nanoseconds{0}, std::move(task)); }

    void postAfter(std::chrono::nanoseconds delay, Task task) override {
        start();
        queue_->add(delay, std::move(task));
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

    const std::shared_ptr<TaskQueue> queue_;
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
