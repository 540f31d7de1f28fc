#include "Log/LogConfig.hpp"

#include "Runtime/ThreadSafety.hpp"

#include <utility>

namespace Velmor {
namespace {

Mutex mutex;

std::optional<Config>& current() VELMOR_REQUIRES(mutex) {
    static auto* slot = new std::optional<Config>;  // outlives every thread: hosts log while they exit
    return *slot;
}

}  // namespace

void setLogConfig(std::optional<Config> config) {
    const Lock lock(mutex);
    current() = std::move(config);
}

std::optional<Config> logConfig() {
    const Lock lock(mutex);
    return current();
}

}  // namespace Velmor
