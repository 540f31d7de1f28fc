#include "Runtime/Channel.hpp"

#include <gtest/gtest.h>
#include <vector>

namespace Velmor {
namespace {

TEST(Channel, TellsInOrderOfSubscriptionUntilTheSubscriptionEnds) {
    Channel<int> channel;
    std::vector<int> seen;
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = owned;
    auto first = channel.subscribe([&, owned = std::move(owned)](int v) { seen.push_back(v); });
    {
        Bag bag;
        bag.add(channel.subscribe([&](int v) { seen.push_back(10 * v); }));
        channel.send(1);
    }
    channel.send(2);
    first = {};
    channel.send(3);
    EXPECT_EQ(seen, (std::vector<int>{1, 10, 2}));
    const auto next = channel.subscribe([](int) {});
    EXPECT_TRUE(watch.expired()) << "and lets go of the observer";
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

}  // namespace
}  // namespace Velmor
