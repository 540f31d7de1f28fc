#include "Interrupt.hpp"

#include "ExitCode.hpp"

#include <atomic>
#include <csignal>
#include <unistd.h>

namespace VelmorApp {
namespace {

std::atomic<bool> requested{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void onSignal(int /*number*/) {
    if (requested.exchange(true)) _exit(static_cast<int>(ExitCode::interrupted));
}

}  // namespace

void watchForInterrupt() {
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool interruptRequested() {
    return requested.load();
}

}  // namespace VelmorApp
