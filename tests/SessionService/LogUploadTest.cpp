#include "SessionScene.hpp"

#include <nlohmann/json.hpp>

namespace Velmor {
namespace {

using testing::IsEmpty;
using testing::MatchesRegex;

constexpr const char* kSendFile = "/documents/VelmorSDK_send.log";

class LogUploadTest : public SessionScene {
  protected:
    LogUploadTest() { files->put(kSendFile, "text"); }

    std::string field(const char* name) const {
        return nlohmann::json::parse(http->requests().back().body).at(name);
    }
};

TEST_F(LogUploadTest, PostsTheTextToTheProxyAndRemovesTheSendFile) {
    http->enqueue(HttpResponse{202, {}, "{}"}, std::chrono::seconds(1));
    send(Request::log{config(), "s1", "one\ntwo \xC3\xA9\n"});
    executor->runUntilIdle();
    EXPECT_EQ(files->contents(kSendFile), "text") << "the text stays until its attempt has ended";
    executor->advance(std::chrono::seconds(1));
    const auto request = http->requests().at(0);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.url.absoluteString(), "https://logs.test/datadog/api/v2/logs");
    EXPECT_EQ(request.headers.front().second, "key");
    EXPECT_EQ(field("ddsource"), "VelmorSDK");
    EXPECT_EQ(field("hostname"), "iOS");
    EXPECT_EQ(field("message"), "one\ntwo \xC3\xA9\n");
    EXPECT_EQ(field("service"), "TestHost");
    EXPECT_THAT(field("ddtags"),
                MatchesRegex("version:[0-9.]+, device:test1,1, os:TestOS1.0, timezone:Asia/Seoul, "
                             "sessionId:s1, userId:u1, apikey:key"));
    EXPECT_FALSE(files->contents(kSendFile));
    EXPECT_THAT(states, IsEmpty());
    EXPECT_THAT(debugLines, IsEmpty());

    device->setFacts({"TestOS", "1.0", "test1,1", {}});
    http->enqueueStatus(202, "{}");
    send(Request::log{config(""), {}, "x"});
    executor->runUntilIdle();
    EXPECT_EQ(field("service"), "No Name");
    EXPECT_THAT(field("ddtags"), testing::EndsWith("timezone:Asia/Seoul, userId:, apikey:key"));
}

// What becomes of a text that is sent and refused, or gets no answer, the fault tables ask.
TEST_F(LogUploadTest, WhatCannotBeSentIsGivenUp) {
    for (const auto& request : {Request::log{{}, {}, "x"}, Request::log{config(), {}, "\xFF"}}) {
        files->put(kSendFile, "text");
        send(request);
        executor->runUntilIdle();
        EXPECT_EQ(http->requestCount(), 0U) << request.message;
        EXPECT_FALSE(files->contents(kSendFile)) << request.message;
        EXPECT_THAT(states, IsEmpty()) << request.message;
    }
}

}  // namespace
}  // namespace Velmor
