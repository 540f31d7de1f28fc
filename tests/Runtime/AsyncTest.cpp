#include <coroutine>
#include <exception>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <Velmor/Async.hpp>

namespace Velmor {
namespace {

// The smallest coroutine that a host could write: starts at once, nobody waits for it.
struct Detached {
    struct promise_type {
        Detached get_return_object() { return {}; }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_void() {}
        void unhandled_exception() { std::terminate(); }
    };
};

Detached appendTo(std::vector<std::string>& log, Async<std::string> pending) {
    try {
        const std::string text = co_await pending;
        log.push_back(text);
    } catch (const VelmorError& error) {
        log.push_back(error.description());
    }
}

TEST(Async, DeliversItsOneOutcomeInEveryForm) {
    std::vector<std::string> log;
    const AsyncPromise<std::string> promise;
    const auto async = promise.async();
    async.then([&](const auto& outcome) { log.push_back("then " + std::get<std::string>(outcome)); });
    appendTo(log, async);
    EXPECT_FALSE(async.isReady());

    promise.set("first");
    promise.set("second");

    EXPECT_EQ(async.get(), "first");
    async.then([&](const auto& outcome) { log.push_back("late " + std::get<std::string>(outcome)); });
    EXPECT_EQ(log, (std::vector<std::string>{"then first", "first", "late first"}));
}

TEST(Async, ThrowsTheErrorFromGetAndFromAwait) {
    std::vector<std::string> log;
    const AsyncPromise<std::string> promise;
    appendTo(log, promise.async());
    promise.set(VelmorError(VelmorError::over24hours{}));
    EXPECT_THROW(promise.async().get(), VelmorError);
    EXPECT_EQ(log, std::vector{VelmorError(VelmorError::over24hours{}).description()});
}

TEST(Async, APromiseThatIsDroppedEndsTheWait) {
    auto promise = std::make_unique<AsyncPromise<void>>();
    const auto async = promise->async();
    auto copy = std::make_unique<AsyncPromise<void>>(*promise);
    promise.reset();
    EXPECT_FALSE(async.isReady()) << "a copy can still answer";
    copy.reset();
    ASSERT_TRUE(async.isReady());
    std::exception_ptr cause;
    async.then([&](const auto& outcome) {
        cause = std::get<VelmorError>(outcome).template as<VelmorError::unknown>()->systemError;
    });
    EXPECT_THROW(std::rethrow_exception(cause), PlatformError);
}

}  // namespace
}  // namespace Velmor
