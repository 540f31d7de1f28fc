// Keeps the exceptions of tasks away from the executor that runs them, which may be the host's own loop.
#pragma once

#include "Runtime/Contain.hpp"
#include "Runtime/Text.hpp"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <Velmor/Platform/Executor.hpp>

namespace Velmor {

class GuardedExecutor : public Executor {
  public:
    using Console = std::function<void(std::string_view)>;

    /// `console` takes one line for each task that failed.
    GuardedExecutor(std::shared_ptr<Executor> inner, Console console)
        : inner_(std::move(inner)), console_(std::make_shared<const Console>(std::move(console))) {}

    void post(Task task) override { inner_->post(guarded(std::move(task))); }
    void postAfter(std::chrono::nanoseconds delay, Task task) override {
        inner_->postAfter(delay, guarded(std::move(task)));
    }

  private:
    Task guarded(Task task) const {
        return [console = console_, task = std::move(task)] {
            contain(task, [&](const std::string& reason) { (*console)(joined({"Task failed: ", reason})); });
        };
    }

    const std::shared_ptr<Executor> inner_;
    const std::shared_ptr<const Console> console_;
};

}  // namespace Velmor
