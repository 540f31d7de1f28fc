#include "Runtime/ThreadExecutor.hpp"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <optional>
#include <vector>

#include <Velmor/Testing/ManualExecutor.hpp>

namespace Velmor {
namespace {

using namespace std::chrono_literals;
using Testing::ManualExecutor;
using Testing::VirtualClock;

// Longer than anything here takes, short enough to fail a hang.
constexpr auto kPatience = 20s;

template <class T>
bool arrives(std::future<T>& future) {
    return future.wait_for(kPatience) == std::future_status::ready;
}

TEST(ThreadExecutor, ASerialOneRunsTasksOfAThreadInOrder) {
    std::vector<int> order;
    std::promise<void> done;
    const auto executor = makeThreadExecutor(makeClock(), 1, "test");  // last: it waits for its tasks
    executor->post([&] { executor->post([&] { order.push_back(100); }); });
    for (int i = 0; i < 100; ++i) executor->post([&, i] { order.push_back(i); });
    executor->postAfter(2ms, [&] { executor->post([&] { done.set_value(); }); });
    auto finished = done.get_future();
    ASSERT_TRUE(arrives(finished));
    EXPECT_EQ(std::erase(order, 100), 1) << "posted from inside a task";
    EXPECT_EQ(order.size(), 100U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(ThreadExecutor, TimersComeInTheOrderOfTheirTimeAndNotEarly) {
    const auto clock = makeClock();
    std::vector<int> order;
    std::promise<BootTime> done;
    const auto executor = makeThreadExecutor(clock, 1, "test");
    const auto start = clock->bootNow();
    executor->postAfter(30ms, [&] {
        order.push_back(3);
        done.set_value(clock->bootNow());
    });
    executor->postAfter(10ms, [&] { order.push_back(1); });
    executor->postAfter(20ms, [&] { order.push_back(2); });
    auto finished = done.get_future();
    ASSERT_TRUE(arrives(finished));
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
    EXPECT_GE(finished.get() - start, 30ms);
}

TEST(ThreadExecutor, ABusyThreadOfAPoolDoesNotHoldUpTheOthersTimers) {
    for (int round = 0; round < 20; ++round) {
        std::promise<void> idle, released, finished;
        const auto executor = makeThreadExecutor(makeClock(), 2, "test");
        executor->post([&] { idle.set_value(); });
        idle.get_future().wait();
        executor->postAfter(1ms, [&] {
            auto release = released.get_future();
            EXPECT_TRUE(arrives(release)) << "the second timer waited for the first";
            finished.set_value();
        });
        executor->postAfter(2ms, [&] { released.set_value(); });
        finished.get_future().wait();
        if (HasFailure()) break;
    }
}

TEST(ThreadExecutor, EndingItDropsWhatHasNotStartedAndWaitsForWhatHas) {
    auto executor = makeThreadExecutor(makeClock(), 1, "test");
    const auto owned = std::make_shared<int>(0);
    std::promise<void> started;
    std::atomic<bool> ended{false};
    std::atomic<int> late{0};
    executor->post([&] {
        started.set_value();
        std::promise<void>().get_future().wait_for(20ms);
        ended = true;
    });
    executor->postAfter(1h, [&, owned] { ++late; });
    started.get_future().wait();
    executor->post([&, owned] { ++late; });
    executor.reset();
    EXPECT_TRUE(ended);
    EXPECT_EQ(late, 0);
    EXPECT_EQ(owned.use_count(), 1);
}

TEST(ThreadExecutor, TheLastReferenceMayDropInsideATask) {
    auto executor = makeThreadExecutor(makeClock(), 2, "test");
    const auto done = std::make_shared<std::promise<void>>();  // the thread outlives this test
    auto finished = done->get_future();
    std::promise<void> posted;
    auto* raw = executor.get();
    raw->post([held = std::move(executor), done, returned = posted.get_future().share()]() mutable {
        returned.wait();
        held.reset();
        done->set_value();
    });
    posted.set_value();
    EXPECT_TRUE(arrives(finished));
}

class Manual : public testing::Test {
  protected:
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    ManualExecutor executor{clock};
    std::vector<int> order;

    Executor::Task note(int number) {
        return [this, number] { order.push_back(number); };
    }
};

TEST_F(Manual, RunsByTimeThenByOrderOfPosting) {
    executor.postAfter(2s, note(4));
    executor.postAfter(1s, note(2));
    executor.postAfter(1s, note(3));
    executor.post(note(1));
    EXPECT_EQ(executor.runUntilIdle(), 1U);
    EXPECT_FALSE(executor.advanceToNext(BootTime{999ms}));
    EXPECT_EQ(clock->bootNow(), BootTime{}) << "the clock stays when there is nothing to run";
    executor.advance(3s);
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(clock->bootNow(), BootTime{3s});
}

TEST_F(Manual, TimersSetByTimersRunOnTheWay) {
    std::vector<BootTime> times;
    std::function<void()> tick = [&] {
        times.push_back(clock->bootNow());
        executor.postAfter(400ms, tick);
    };
    tick();
    executor.advance(1s);
    EXPECT_EQ(times, (std::vector<BootTime>{BootTime{0ms}, BootTime{400ms}, BootTime{800ms}}));
    EXPECT_EQ(clock->bootNow(), BootTime{1s});
}

TEST_F(Manual, TheWallMayStepWhileBootTimeGoesOn) {
    const auto before = clock->wallNow();
    clock->stepWall(-24h);
    executor.advance(1s);
    EXPECT_EQ(clock->wallNow() - before, 1s - 24h);
    EXPECT_EQ(clock->bootNow(), BootTime{1s});
}

TEST_F(Manual, WaitsForWorkFromOtherThreads) {
    EXPECT_FALSE(executor.waitForWork(1ms));
    std::thread other([this] { executor.post(note(1)); });
    EXPECT_TRUE(executor.waitForWork(kPatience));
    other.join();
    executor.runUntilIdle();
    EXPECT_EQ(order, std::vector<int>{1});
}

}  // namespace
}  // namespace Velmor
