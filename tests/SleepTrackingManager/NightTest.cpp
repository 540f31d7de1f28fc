// Nights through the public interface, on a virtual clock.
#include "../Library/Night.hpp"

namespace Velmor {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class TrackingTest : public NightTest {
  protected:
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
        expectedSent.push_back("POST ai/v1/sessions/s1/mel-data/" + std::to_string(i));
    }
    expectedLines.insert(expectedLines.end(), {"didClose s1", "ended: closed s1"});
    expectedSent.push_back("POST ai/v1/sessions/s1/close");
    expectedSent.push_back("POST https://logs.velmor.example/datadog/api/v2/logs");
    EXPECT_EQ(lines, expectedLines);
    EXPECT_EQ(sent(), expectedSent);
    EXPECT_EQ(http->mostInFlight(), 1U);
    EXPECT_THAT(files->paths(), Each(StartsWith("/documents/")));
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
    EXPECT_THAT(lines, ElementsAre("didUpload 0", "didClose s1", "ended: closed s1"));
    EXPECT_THAT(sent(), Contains("POST ai/v1/sessions/s1/close"));
}

TEST_F(TrackingTest, SessionIsOpenedOnlyForARecordingThatRuns) {
    microphone->setPermission(RecordPermission::denied);
    makeManager();
    manager->startTracking();
    executor->advance(seconds(3));
    EXPECT_THAT(logText(), HasSubstr("| I | tracking | mic permission was denied\n"));
    EXPECT_THAT(logText(), HasSubstr("| I | tracking | start request can not working\n"));

    microphone->setPermission(RecordPermission::granted);
    microphone->failStarting(PlatformError(PlatformError::Kind::io, "broken"));
    manager->startTracking();
    executor->advance(seconds(3));
    EXPECT_THAT(logText(), HasSubstr("| E | tracking | request failed error(unknown(broken))\n"));
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
    EXPECT_THAT(lines, ElementsAre("didUpload 0", "didClose s1", "ended: closed s1", "didCreate",
                                   "didUpload 0", "didClose s2", "ended: closed s2"));
    for (const auto& request : http->requests()) {
        if (!placeOf(request).ends_with("/logs")) continue;
        EXPECT_THAT(request.body, HasSubstr("| Upload | 0 1\\n"));
    }
}

TEST_F(TrackingTest, AnalysisWithoutASessionAsksNothing) {
    makeManager();
    manager->requestAnalysis();
    executor->runUntilIdle();
    EXPECT_THAT(sent(), ElementsAre("GET ai/v1/users/u1"));
    EXPECT_THAT(lines, IsEmpty());
}

}  // namespace
}  // namespace Velmor
