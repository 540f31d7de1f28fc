// Executors on threads of their own: one thread makes a serial executor, several a pool.
#pragma once

#include <memory>

#include <Velmor/Platform/Clock.hpp>
#include <Velmor/Platform/Executor.hpp>

namespace Velmor {

/// Threads start with the first task. Destruction waits for tasks that are running, unless it happens on a
/// thread of the library's: then they end by themselves. Tasks not started are dropped. Delays are measured
/// on `clock`.
std::shared_ptr<Executor> makeThreadExecutor(const std::shared_ptr<Clock>& clock, int threads,
                                             const char* name, bool lowPriority = false);

}  // namespace Velmor
