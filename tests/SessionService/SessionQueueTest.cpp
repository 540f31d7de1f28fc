#include "SessionScene.hpp"

namespace Velmor {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

class SessionQueueTest : public SessionScene {};

TEST_F(SessionQueueTest, LifecycleRequestsGoOneByOneInOrderHoweverSlowFailingOrRefused) {
    http->enqueue(HttpResponse{200, {}, R"({"result":{"session_id":"s1"}})"}, 10s);
    http->enqueue(HttpResponse{204, {}, ""}, 9s);
    http->enqueue(HttpResponse{500, {}, "{}"}, 1s);
    http->enqueueSilence();
    http->enqueue(HttpResponse{204, {}, ""}, 0s);
    send(create());
    for (int i = 0; i < 3; ++i) send(mel(i));
    for (int i = 3; i < 5; ++i) send(mel(i, ".."));
    send(close());
    executor->runUntilIdle();
    EXPECT_EQ(http->inFlight(), 1U);
    executor->advance(120s);
    EXPECT_THAT(sent(), ElementsAre("POST ai/v1/sessions", "POST ai/v1/sessions/s1/mel-data/0",
                                    "POST ai/v1/sessions/s1/mel-data/1", "POST ai/v1/sessions/s1/mel-data/2",
                                    "POST ai/v1/sessions/s1/close"));
    EXPECT_EQ(http->mostInFlight(), 1U);
    EXPECT_THAT(debugLines, testing::Contains("API: session id is s1 - upload, sequence is 1"));
    EXPECT_THAT(states, ElementsAre("create s1", "upload s1 0", "error httpStatus(500, )",
                                    testing::StartsWith("error unknown(no answer"),
                                    "error unknown(an id is \"..\", which names another place)",
                                    "error unknown(an id is \"..\", which names another place)", "close s1"));
}

TEST_F(SessionQueueTest, OtherRequestsDoNotWaitForTheQueue) {
    http->enqueueSilence();
    http->enqueueStatus(404, "{}");
    send(mel(1));
    send(mel(2));
    send(Request::analysis{config(), "s1"});
    executor->runUntilIdle();
    EXPECT_THAT(sent(), ElementsAre("POST ai/v1/sessions/s1/mel-data/1", "GET data/v3/sessions/s1"));
    EXPECT_THAT(states, ElementsAre("error httpStatus(404, )"));
}

// The queue is empty for a moment between the last state and what its observer asks for.
TEST_F(SessionQueueTest, WhatAnObserverSendsIsNeitherLostNorEarlyAndItMayThrow) {
    http->setHandler([](const HttpRequest&) { return HttpResponse{204, {}, ""}; });
    observer = [&] {
        EXPECT_EQ(http->requestCount(), states.size());  // state first, then the next request
        if (states.size() < 4) send(mel(static_cast<std::int64_t>(states.size())));
        throw std::runtime_error("observer");
    };
    send(mel(0));
    executor->runUntilIdle();
    EXPECT_THAT(states, ElementsAre("upload s1 0", "upload s1 1", "upload s1 2", "upload s1 3"));
}

TEST_F(SessionQueueTest, NothingIsPublishedOrSentAfterRelease) {
    http->enqueueSilence();
    send(mel(0));
    executor->runUntilIdle();
    send(mel(1));
    service.reset();
    EXPECT_EQ(http->cancelled(), 1U);
    executor->advance(60s);
    EXPECT_THAT(states, IsEmpty());
    EXPECT_EQ(http->requestCount(), 1U);
}

}  // namespace
}  // namespace Velmor
