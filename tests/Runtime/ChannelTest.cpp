#include "Runtime/Channel.hpp"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace Velmor {
namespace {

TEST(Channel, TellsInOrderOfSubscriptionUntilTheSubscriptionEnds) {
    Channel<int> channel;
    std::vector<int> seen;
    auto first = channel.subscribe([&](int v) { seen.push_back(v); });
    {
        Bag bag;
        bag.add(channel.subscribe([&](int v) { seen.push_back(10 * v); }));
        channel.send(1);
    }
    channel.send(2);
    first = {};
    channel.send(3);
    EXPECT_EQ(seen, (std::vector<int>{1, 10, 2}));
}

TEST(Channel, ObserversMaySubscribeEndOthersAndSendFromInside) {
    Channel<int> channel;
    std::vector<int> seen;
    Subscription second;
    Subscription third;
    const auto first = channel.subscribe([&](int v) {
        seen.push_back(v);
        second.end();
        if (v == 1) {
            third = channel.subscribe([&](int w) { seen.push_back(100 * w); });
            channel.send(2);
        }
    });
    second = channel.subscribe([&](int v) { seen.push_back(-v); });
    channel.send(1);
    EXPECT_EQ(seen, (std::vector<int>{1, 2, 200})) << "the new one hears later values, the ended one nothing";
}

TEST(Channel, LetsGoOfEndedObservers) {
    Channel<int> channel;
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = owned;
    auto subscription = channel.subscribe([owned = std::move(owned)](int) {});
    subscription.end();
    const auto next = channel.subscribe([](int) {});
    EXPECT_TRUE(watch.expired());
}

TEST(Channel, OwnersComeAndGoWhileOthersSend) {
    const auto channel = std::make_shared<Channel<int>>();
    std::thread sender([channel] {
        for (int i = 0; i < 2000; ++i) channel->send(i);
    });
    for (int i = 0; i < 500; ++i) {
        const auto owner = std::make_shared<std::atomic<int>>(0);
        const auto subscription = channel->subscribe([weak = std::weak_ptr(owner)](int) {
            if (const auto self = weak.lock()) self->fetch_add(1);
        });
    }
    sender.join();
}

TEST(CurrentValue, KeepsTheLastValueAndTellsLaterOnes) {
    CurrentValue<std::string> value("a");
    std::vector<std::string> seen;
    const auto subscription =
        value.subscribe([&](const std::string& v) { seen.push_back(v + value.value()); });
    value.send("b");
    EXPECT_EQ(seen, std::vector<std::string>{"bb"});
}

}  // namespace
}  // namespace Velmor
