#include <Velmor/Testing/ManualExecutor.hpp>

namespace Velmor::Testing {

VirtualClock::VirtualClock(WallTime start) : wallAtBoot_(start.time_since_epoch()) {}

WallTime VirtualClock::wallNow() const {
    const std::lock_guard lock(mutex_);
    return WallTime{std::chrono::duration_cast<WallTime::duration>(wallAtBoot_ + boot_.time_since_epoch())};
}

BootTime VirtualClock::bootNow() const {
    const std::lock_guard lock(mutex_);
    return boot_;
}

void VirtualClock::advance(std::chrono::nanoseconds by) {
    const std::lock_guard lock(mutex_);
    boot_ += by;
}

void VirtualClock::stepWall(std::chrono::nanoseconds by) {
    const std::lock_guard lock(mutex_);
    wallAtBoot_ += by;
}

ManualExecutor::ManualExecutor(std::shared_ptr<VirtualClock> clock) : clock_(std::move(clock)) {}

void ManualExecutor::post(Task task) {
    postAfter(std::chrono::nanoseconds{0}, std::move(task));
}

void ManualExecutor::postAfter(std::chrono::nanoseconds delay, Task task) {
    {
        const std::lock_guard lock(mutex_);
        tasks_.emplace(std::pair{clock_->bootNow() + delay, order_++}, std::move(task));
    }
    posted_.notify_all();
}

Executor::Task ManualExecutor::takeDue() {
    const std::lock_guard lock(mutex_);
    const auto first = tasks_.begin();
    if (first == tasks_.end() || first->first.first > clock_->bootNow()) return {};
    auto task = std::move(first->second);
    tasks_.erase(first);
    return task;
}

std::size_t ManualExecutor::runUntilIdle() {
    std::size_t count = 0;
    while (auto task = takeDue()) {
        task();
        ++count;
    }
    return count;
}

std::optional<BootTime> ManualExecutor::next() const {
    const std::lock_guard lock(mutex_);
    return tasks_.empty() ? std::nullopt : std::optional(tasks_.begin()->first.first);
}

bool ManualExecutor::advanceToNext(BootTime limit) {
    runUntilIdle();
    const auto due = next();
    if (!due || *due > limit) return false;
    clock_->advance(*due - clock_->bootNow());
    runUntilIdle();
    return true;
}

void ManualExecutor::advance(std::chrono::nanoseconds duration) {
    const auto end = clock_->bootNow() + duration;
    while (advanceToNext(end)) {
    }
    if (clock_->bootNow() < end) clock_->advance(end - clock_->bootNow());
}

bool ManualExecutor::waitForWork(std::chrono::nanoseconds timeout) {
    std::unique_lock lock(mutex_);
    return posted_.wait_for(lock, timeout, [this] {
        return !tasks_.empty() && tasks_.begin()->first.first <= clock_->bootNow();
    });
}

}  // namespace Velmor::Testing
