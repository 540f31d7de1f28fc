#include <ctime>
#include <memory>

#include <Velmor/Platform/Clock.hpp>

namespace Velmor {
namespace {

class SystemClock : public Clock {
  public:
    WallTime wallNow() const override { return std::chrono::system_clock::now(); }

    BootTime bootNow() const override {
        timespec now{};
        // Kernels that refuse the clock that counts sleep (some sandboxes do) still have the other one.
        if (clock_gettime(CLOCK_BOOTTIME, &now) != 0) clock_gettime(CLOCK_MONOTONIC, &now);
        return BootTime{std::chrono::seconds{now.tv_sec} + std::chrono::nanoseconds{now.tv_nsec}};
    }
};

}  // namespace

std::shared_ptr<Clock> makeClock() {
    return std::make_shared<SystemClock>();
}

}  // namespace Velmor
