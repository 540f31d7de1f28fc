#include "Log/LogConfig.hpp"

#include <mutex>
#include <utility>

namespace Velmor {
namespace {

std::mutex mutex;  // guards current()

std::optional<Config>& current() {
    static auto* slot = new std::optional<Config>;  // outlives every thread: hosts log while they exit
    return *slot;
}

}  // namespace

void setLogConfig(std::optional<Config> config) {
    const std::lock_guard lock(mutex);
    current() = std::move(config);
}

std::optional<Config> logConfig() {
    const std::lock_guard lock(mutex);
    return current();
}

}  // namespace Velmor
