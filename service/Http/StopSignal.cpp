#include "service/Http/StopSignal.hpp"

#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>

namespace VelmorService {

StopSignal::StopSignal() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!event_) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void StopSignal::raise() {
    const std::uint64_t one = 1;
    // A full counter refuses the write, and is raised already.
    [[maybe_unused]] const auto written = ::write(event_.get(), &one, sizeof one);
}

bool StopSignal::pause(std::chrono::milliseconds time) const {
    const auto end = std::chrono::steady_clock::now() + time;
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
        pollfd wait{.fd = event_.get(), .events = POLLIN, .revents = 0};
        if (::poll(&wait, 1, left > 0 ? static_cast<int>(left) : 0) > 0) {
            return true;
        }
        if (left <= 0) {
            return false;
        }
    }
}

}  // namespace VelmorService
