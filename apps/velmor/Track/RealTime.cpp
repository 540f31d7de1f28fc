#include "Track/RealTime.hpp"

namespace VelmorApp {

TimerThread::TimerThread(std::shared_ptr<Velmor::Clock> clock)
    : clock_(std::move(clock)), thread_([this] { run(); }) {}

TimerThread::~TimerThread() {
    {
        const Velmor::Lock lock(mutex_);
        ended_ = true;
    }
    changed_.notifyAll();
    thread_.join();
}

void TimerThread::postAfter(std::chrono::nanoseconds delay, Task task) {
    {
        const Velmor::Lock lock(mutex_);
        tasks_.emplace(std::pair(clock_->bootNow() + delay, order_++), std::move(task));
    }
    changed_.notifyAll();
}

void TimerThread::run() {
    Velmor::Lock lock(mutex_);
    while (!ended_) {
        if (tasks_.empty()) {
            changed_.wait(lock);
            continue;
        }
        const auto due = tasks_.begin()->first.first;
        if (const auto now = clock_->bootNow(); due > now) {
            changed_.waitFor(lock, due - now);
            continue;
        }
        Task task = std::move(tasks_.begin()->second);
        tasks_.erase(tasks_.begin());
        lock.unlock();
        task();
        task = nullptr;
        lock.lock();
    }
}

}  // namespace VelmorApp
