#include "Platform/Linux/PulseLoop.hpp"

#include "Platform/Linux/SignalsBlocked.hpp"
#include "Runtime/OwnThread.hpp"
#include "Runtime/Text.hpp"

#include <algorithm>
#include <system_error>
#include <utility>

#include <Velmor/Error.hpp>

namespace Velmor {
namespace {

constexpr std::chrono::seconds kLongestWait{60};

}  // namespace

PulseLoop::PulseLoop(const std::shared_ptr<const Clock>& clock) : clock_(clock) {}

PulseLoop::~PulseLoop() {
    if (mainloop_ != nullptr) pulse_->mainloop_free(mainloop_);
}

void PulseLoop::start(const std::shared_ptr<const PulseApi>& pulse) {
    mutex_.assertHeld();
    if (thread_.joinable()) return;
    if (mainloop_ == nullptr) {
        pulse_ = pulse;
        mainloop_ = pulse_->mainloop_new();
        if (mainloop_ == nullptr)
            throw PlatformError(PlatformError::Kind::audioUnavailable,
                                "no event loop for the sound server can be made");
        pulse_->mainloop_set_poll_func(mainloop_, pollUnlocked, this);
    }
    try {
        const SignalsBlocked blocked;
        thread_ = std::thread([self = shared_from_this()] {
            isOwnThread = true;
            self->run();
        });
        pthread_setname_np(thread_.native_handle(), "velmor-audio");
    } catch (const std::system_error& error) {
        throw PlatformError(PlatformError::Kind::audioUnavailable,
                            joined({"no thread for the sound server: ", error.what()}));
    }
}

void PulseLoop::end() {
    std::list<Task> toTell;  // destroyed outside the lock: they may own anything
    std::multimap<BootTime, Task> timers;
    std::thread thread;
    {
        const Lock locked(mutex_);
        ended_ = true;
        toTell.swap(toTell_);
        timers.swap(timers_);
        thread.swap(thread_);
        wake();
    }
    if (thread.get_id() == std::this_thread::get_id())
        thread.detach();
    else if (thread.joinable())
        thread.join();
}

pa_mainloop_api* PulseLoop::api() const {
    mutex_.assertHeld();
    return pulse_->mainloop_get_api(mainloop_);
}

void PulseLoop::tell(Task task) {
    mutex_.assertHeld();
    if (ended_) return;
    toTell_.push_back(std::move(task));
    wake();
}

void PulseLoop::after(std::chrono::nanoseconds delay, Task task) {
    mutex_.assertHeld();
    if (ended_) return;
    timers_.emplace(now() + delay, std::move(task));
    wake();
}

void PulseLoop::wake() {
    if (mainloop_ != nullptr) pulse_->mainloop_wakeup(mainloop_);
}

bool PulseLoop::waitFor(Lock& lock, std::chrono::nanoseconds limit, const std::function<bool()>& met) {
    mutex_.assertHeld();
    if (thread_.get_id() != std::this_thread::get_id()) return changed_.waitFor(lock, limit, met);
    // Inside a task, where nobody else turns the loop.
    const auto deadline = now() + limit;
    while (!met()) {
        const auto left = deadline - now();
        if (left <= left.zero() || ended_ || !turn(left)) return met();
    }
    return true;
}

void PulseLoop::run() {
    Lock locked(mutex_);
    while (!ended_) {
        locked.unlock();
        deliver();
        locked.lock();
        if (ended_ || !turn(kLongestWait)) break;
    }
}

// One by one, because a task may end the loop and then those after it must not run.
void PulseLoop::deliver() {
    for (;;) {
        Task task;
        {
            const Lock locked(mutex_);
            if (ended_ || toTell_.empty()) return;
            task = std::move(toTell_.front());
            toTell_.pop_front();
        }
        try {
            task();
        } catch (...) {  // a fault of the host's; it must not end the thread
        }
    }
}

void PulseLoop::runTimers() {
    while (!timers_.empty() && timers_.begin()->first <= now()) {
        const auto timer = timers_.extract(timers_.begin());
        timer.mapped()();
    }
}

bool PulseLoop::turn(std::chrono::nanoseconds longest) {
    runTimers();
    changed_.notifyAll();
    if (!timers_.empty()) longest = std::min(longest, timers_.begin()->first - now());
    if (!toTell_.empty()) longest = {};
    using std::chrono::microseconds;
    const auto wait = std::chrono::ceil<microseconds>(std::max(longest, std::chrono::nanoseconds{0}));
    const bool good = pulse_->mainloop_prepare(mainloop_, static_cast<int>(wait.count())) >= 0 &&
                      pulse_->mainloop_poll(mainloop_) >= 0 && pulse_->mainloop_dispatch(mainloop_) >= 0;
    changed_.notifyAll();
    return good;
}

int PulseLoop::pollUnlocked(pollfd* files, unsigned long count, int timeout, void* self) {
    auto& loop = *static_cast<PulseLoop*>(self);
    loop.mutex_.unlock();
    const int ready = poll(files, count, timeout);
    loop.mutex_.lock();
    return ready;
}

}  // namespace Velmor
