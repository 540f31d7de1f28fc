/// Where work runs. The library starts no thread, sleeps nowhere and sets no timer but through an `Executor`.
#pragma once

#include <chrono>
#include <functional>

namespace Velmor {

/// `post` and `postAfter` may be called on any thread, from inside a task too, and never run the task
/// themselves. Tasks that were not started when the executor ends are destroyed unrun. Tasks
/// do not throw: the library catches what they throw and tells the console.
class Executor {
  public:
    using Task = std::function<void()>;

    virtual ~Executor() = default;
    /// Tasks posted by one thread start in their order.
    virtual void post(Task task) = 0;
    /// Not before `delay` has passed on the clock that counts sleep.
    virtual void postAfter(std::chrono::nanoseconds delay, Task task) = 0;
};

}  // namespace Velmor
