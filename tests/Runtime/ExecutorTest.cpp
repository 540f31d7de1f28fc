#include "Runtime/ThreadExecutor.hpp"

#include <array>
#include <atomic>
#include <barrier>
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

TEST(ThreadExecutor, ASerialOneRunsTasksInOrderAndTimersInTheOrderOfTheirTimeAndNotEarly) {
    const auto clock = makeClock();
    std::vector<int> order;
    std::promise<BootTime> done;
    const auto executor = makeThreadExecutor(clock, 1, "test");  // last: it waits for its tasks
    const auto start = clock->bootNow();
    executor->postAfter(30ms, [&] { done.set_value(clock->bootNow()); });
    executor->postAfter(20ms, [&] { order.push_back(102); });
    executor->postAfter(10ms, [&] { order.push_back(101); });
    executor->post([&] { executor->post([&] { order.push_back(100); }); });
    for (int i = 0; i < 100; ++i) executor->post([&, i] { order.push_back(i); });
    auto finished = done.get_future();
    ASSERT_TRUE(arrives(finished));
    EXPECT_GE(finished.get() - start, 30ms);
    EXPECT_EQ(order.size(), 103U);
    std::erase(order, 100);  // posted from inside a task, so that it comes somewhere between
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
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

// One ends itself in its own task, two end each other.
TEST(ThreadExecutor, TheLastReferencesMayDropInsideTasks) {
    for (const std::ptrdiff_t count : {1, 2}) {
        struct Shared {  // the threads outlive this test
            explicit Shared(std::ptrdiff_t count) : posted(count) {}
            std::barrier<> posted;
            std::array<std::promise<void>, 2> done;
        };
        const auto shared = std::make_shared<Shared>(count + 1);
        std::vector<std::shared_ptr<Executor>> executors;
        std::vector<Executor*> raw;
        for (std::ptrdiff_t i = 0; i < count; ++i)
            raw.push_back(executors.emplace_back(makeThreadExecutor(makeClock(), 1, "test")).get());
        for (std::size_t i = 0; i < raw.size(); ++i)
            raw[i]->post([held = std::move(executors[raw.size() - 1 - i]), shared, i]() mutable {
                shared->posted.arrive_and_wait();
                held.reset();
                shared->done.at(i).set_value();
            });
        shared->posted.arrive_and_wait();  // whoever posts needs the executor to the end of the call
        for (std::size_t i = 0; i < raw.size(); ++i) {
            auto ended = shared->done.at(i).get_future();
            EXPECT_TRUE(arrives(ended));
        }
    }
}

class Manual : public testing::Test {
  protected:
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    ManualExecutor executor{clock};
    std::vector<std::pair<int, BootTime>> seen;

    Executor::Task note(int number) {
        return [this, number] { seen.emplace_back(number, clock->bootNow()); };
    }
};

TEST_F(Manual, RunsByTimeThenByOrderOfPostingAlsoWhatTimersPost) {
    executor.postAfter(2s, note(4));
    executor.postAfter(1s, [this] { executor.postAfter(400ms, note(3)); });
    executor.postAfter(1s, note(2));
    executor.post(note(1));
    EXPECT_EQ(executor.runUntilIdle(), 1U);
    EXPECT_FALSE(executor.advanceToNext(BootTime{999ms}));
    EXPECT_EQ(clock->bootNow(), BootTime{}) << "the clock stays when there is nothing to run";
    const auto wall = clock->wallNow();
    clock->stepWall(-24h);
    executor.advance(3s);
    EXPECT_EQ(seen, (decltype(seen){
                        {1, BootTime{0s}}, {2, BootTime{1s}}, {3, BootTime{1400ms}}, {4, BootTime{2s}}}));
    EXPECT_EQ(clock->bootNow(), BootTime{3s});
    EXPECT_EQ(clock->wallNow() - wall, 3s - 24h) << "the wall may step while boot time goes on";
}

TEST_F(Manual, WaitsForWorkFromOtherThreads) {
    EXPECT_FALSE(executor.waitForWork(1ms));
    std::thread other([this] { executor.post(note(1)); });
    EXPECT_TRUE(executor.waitForWork(kPatience));
    other.join();
    executor.runUntilIdle();
    EXPECT_EQ(seen.size(), 1U);
}

}  // namespace
}  // namespace Velmor
