// Nights through the public interface, on a virtual clock.
#include "../Library/Night.hpp"

namespace Velmor {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class TrackingTest : public NightTest {
  protected:
    std::string uploadPath(int sequence) const {
        return "POST ai/v1/sessions/s1/mel-data/" + std::to_string(sequence);
    }
    void stop() {
        manager->stopTracking();
        executor->runUntilIdle();
    }
};

TEST_F(TrackingTest, NightIsUploadedInSequenceAndClosedLast) {
    constexpr int kChunks = 63;
    makeManager();
    http->setDelay(milliseconds(700));
    manager->startTracking();
    executor->advance(seconds(30 * kChunks + 1));
    EXPECT_EQ(manager->getTrackingStatus().sessionId, "s1");
    manager->stopTracking();
    executor->advance(seconds(5));

    Lines expectedLines{"didCreate"}, expectedSent{"GET ai/v1/users/u1", "POST ai/v1/sessions"};
    for (int i = 0; i < kChunks; ++i) {
        expectedLines.push_back("didUpload " + std::to_string(i));
        expectedSent.push_back(uploadPath(i));
    }
    expectedLines.push_back("didClose s1");
    expectedSent.push_back("POST ai/v1/sessions/s1/close");
    expectedSent.push_back("POST https://logs.velmor.example/datadog/api/v2/logs");
    EXPECT_EQ(lines, expectedLines);
    EXPECT_EQ(sent(), expectedSent);
    EXPECT_EQ(http->mostInFlight(), 1U);
    EXPECT_EQ(temporaryFiles(), 0U);
    EXPECT_EQ(files->openFiles(), 0U);
    EXPECT_EQ(manager->getTrackingStatus().sessionId, std::nullopt);

    const auto shipped = http->requests().back().body;
    EXPECT_THAT(shipped, HasSubstr("[CALL] startTracking"));
    EXPECT_THAT(shipped, HasSubstr("| I | Upload | 0 1111111111 1111111111 1111111111"));
    EXPECT_THAT(shipped, HasSubstr("[RESP] closed s1"));
    EXPECT_FALSE(files->contents("/documents/VelmorSDK_send.log"));
}

TEST_F(TrackingTest, ChunkThatEndsWithTheStopGoesOutBeforeTheClose) {
    begin();
    executor->advance(seconds(28) - milliseconds(1));
    executor->clock()->advance(milliseconds(1));  // the last buffer and the stop fall due together
    manager->stopTracking();
    executor->runUntilIdle();
    EXPECT_THAT(lines, ElementsAre("didUpload 0", "didClose s1"));
    EXPECT_THAT(sent(), Contains("POST ai/v1/sessions/s1/close"));
}

TEST_F(TrackingTest, SessionIsOpenedOnlyForARecordingThatRuns) {
    microphone->setPermission(RecordPermission::denied);
    makeManager();
    manager->startTracking();
    executor->advance(seconds(3));
    EXPECT_EQ(lines, Lines{"micPermissionWasDenied"});
    EXPECT_THAT(logText(), HasSubstr("| tracking | start request can not working\n"));

    microphone->setPermission(RecordPermission::granted);
    microphone->setInputFormat({44'100.0, 1});
    lines.clear();
    manager->startTracking();
    executor->advance(seconds(3));
    EXPECT_EQ(lines, Lines{"didFail audioInitializationFailed"});
    EXPECT_THAT(logText(), HasSubstr("| tracking | request failed "));
    EXPECT_THAT(sent(), Not(Contains("POST ai/v1/sessions")));
}

TEST_F(TrackingTest, SeveralStartsMakeOneSession) {
    makeManager();
    manager->startTracking();
    manager->startTracking();
    executor->advance(milliseconds(900));
    manager->startTracking();
    executor->advance(seconds(5));
    manager->startTracking();
    executor->advance(seconds(5));
    EXPECT_EQ(sessions, 1);
    EXPECT_EQ(lines, Lines{"didCreate"});
}

TEST_F(TrackingTest, StopBeforeTheSessionExistsClosesItOnceItDoes) {
    makeManager();
    http->setDelay(seconds(8));
    manager->startTracking();
    executor->advance(seconds(3));
    manager->stopTracking();
    executor->advance(seconds(30));
    EXPECT_EQ(lines, (Lines{"didCreate", "didClose s1"}));
    EXPECT_FALSE(microphone->isRunning());
}

TEST_F(TrackingTest, StopAndStartWhileTheSessionIsMadeKeepsIt) {
    begin();
    stop();
    lines.clear();
    http->setDelay(seconds(8));
    manager->startTracking();
    executor->advance(seconds(3));
    manager->stopTracking();
    manager->startTracking();
    executor->advance(seconds(40));
    EXPECT_THAT(lines, ElementsAre("didCreate", "didUpload 0"));
}

TEST_F(TrackingTest, StopWhileTheUserIsAskedCancelsTheStart) {
    microphone->setPermission(RecordPermission::undetermined);
    makeManager();
    manager->startTracking();
    manager->stopTracking();
    executor->advance(seconds(5));
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_FALSE(microphone->isRunning());
    EXPECT_EQ(sessions, 0);
}

TEST_F(TrackingTest, ConfirmationsAfterTheStopBelongToTheirSession) {
    begin();
    executor->advance(seconds(28) - milliseconds(1));
    http->setDelay(seconds(5));
    executor->advance(seconds(1));
    manager->stopTracking();
    executor->advance(seconds(14));
    manager->startTracking();
    executor->advance(seconds(50));
    manager->stopTracking();
    executor->advance(seconds(10));
    EXPECT_THAT(lines, ElementsAre("didUpload 0", "didClose s1", "didCreate", "didUpload 0", "didClose s2"));
    for (const auto& request : http->requests()) {
        if (!path(request).ends_with("/logs")) continue;
        EXPECT_THAT(request.body, HasSubstr("| Upload | 0 1\\n"));
    }
}

struct ServerFault {
    const char* when;  // the request that is answered badly
    HttpResult answer;
    const char* told;  // what the host hears of it
    bool nightGoesOn;  // recording and uploads
};

TEST_F(TrackingTest, ServerFailuresAreToldOnceAndEndTheNightWhereTheyMust) {
    const PlatformError lost(PlatformError::Kind::cannotConnect, "no route");
    const HttpResponse gone{404, {}, R"({"detail":"gone"})"};
    const HttpResponse refused{403, {}, R"({"detail":"closed"})"};
    const HttpResponse broken{500, {}, R"({"detail":"oops"})"};
    const ServerFault rows[] = {
        {"POST ai/v1/sessions", broken, "didFail startTrackingNetworkFail(500, oops)", false},
        {"POST ai/v1/sessions", lost, "didFail startTrackingNetworkFail(-9999, )", false},
        {"POST ai/v1/sessions", HttpResponse{204, {}, ""}, "didFail responseResult(ai/v1/sessions)", false},
        {"POST ai/v1/sessions/s1/mel-data/1", gone, "didFail httpStatus(404, gone)", false},
        {"POST ai/v1/sessions/s1/mel-data/1", refused, "didFail httpStatus(403, closed)", false},
        {"POST ai/v1/sessions/s1/mel-data/1", broken, "didFail httpStatus(500, oops)", true},
        {"POST ai/v1/sessions/s1/mel-data/1", lost, "didFail unknown(no route)", true},
        {"POST ai/v1/sessions/s1/close", broken, "didFail stopTrackingNetworkFail(500, oops)", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.when) + " " + row.told);
        sessions = 0;
        answerWith = [&](const std::string& path) -> std::optional<HttpResult> {
            if (path == row.when) return row.answer;
            return {};
        };
        makeManager();
        manager->startTracking();
        executor->advance(seconds(95));
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "didUpload 2"), row.nightGoesOn ? 1 : 0);
        stop();
        executor->advance(seconds(40));
        EXPECT_EQ(std::count(lines.begin(), lines.end(), row.told), 1);
        EXPECT_EQ(
            std::count_if(lines.begin(), lines.end(), [](const auto& l) { return l.starts_with("didFail"); }),
            1);
        EXPECT_FALSE(microphone->isRunning());
        EXPECT_EQ(temporaryFiles(), 0U);
    }
}

TEST_F(TrackingTest, AnalysisAskedTooEarlyDoesNotEndTheNight) {
    makeManager();
    manager->requestAnalysis();
    executor->runUntilIdle();
    EXPECT_THAT(sent(), ElementsAre("GET ai/v1/users/u1")) << "no session, no request";
    manager->startTracking();
    executor->advance(seconds(2));
    manager->requestAnalysis();
    executor->advance(seconds(30));
    EXPECT_EQ(lines,
              (Lines{"didCreate", "didFail unknown(httpStatus(404, not analysed yet))", "didUpload 0"}));

    stop();
    lines.clear();
    answerWith = [](const std::string&) -> std::optional<HttpResult> {
        return ok(
            R"({"result":{"timezone":"UTC","peculiarities":[],"missing_data_ratio":0.0,"session":{"id":"s1",
            "state":"COMPLETE","start_time":"2024-03-05T23:10:04Z","created_timezone":"UTC"}}})");
    };
    manager->requestAnalysis();
    executor->runUntilIdle();
    EXPECT_EQ(lines, Lines{"analysing s1"});
}

}  // namespace
}  // namespace Velmor
