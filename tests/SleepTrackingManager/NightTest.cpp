// Nights through the public interface, on a virtual clock.
#include "../Library/Night.hpp"
#include "SleepTrackingManager/SleepTracker.hpp"

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
    using Close = SessionsService::Request::close;

    /// Without the entry points and without conversions, for long nights.
    std::shared_ptr<SleepTracker> makeTracker() {
        CaptureParts parts;
        parts.convert = [files = files](const std::string&) {
            const std::string path = files->temporaryDirectory() + "result.mel";
            files->put(path, "mel");
            return path;
        };
        parts.samples = Samples::counted;
        auto tracker = SleepTracker::make(platform, std::make_shared<LogAPI>(platform), parts);
        tracker->configure(Config("key", "u1", Url::parse(kBaseUrl)), host);
        return tracker;
    }

    static Subscription watchCloses(const SleepTracker& tracker, std::vector<Close>& closes) {
        return tracker.sessionService()->requestAction.subscribe([&closes](const auto& request) {
            const auto* close = std::get_if<Close>(&request.value);
            if (close != nullptr) closes.push_back(*close);
        });
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

TEST_F(TrackingTest, TheStatusSaysWhetherSoundIsRecorded) {
    std::string seen;
    const auto look = [&] {
        executor->runUntilIdle();
        const auto status = manager->getTrackingStatus();
        seen += status.sessionId.value_or("-") + (status.recording ? "+ " : "_ ");
    };
    makeManager();
    look();
    manager->startTracking();
    look();
    executor->advance(seconds(2));
    microphone->beginInterruption();
    look();
    microphone->endInterruption();
    look();
    microphone->setDelivering(false);
    executor->advance(seconds(3));
    look();
    microphone->setDelivering(true);
    executor->advance(seconds(1));
    look();
    manager->stopTracking();
    look();
    EXPECT_EQ(seen, "-_ -+ s1_ s1+ s1_ s1+ -_ ");
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

// The flag is no part of the request's body; it travels on the channel of requests.
TEST_F(TrackingTest, ANightUnderHalfAnHourIsClosedAsInvalid) {
    const struct {
        seconds length;
        bool invalid;
    } rows[] = {
        {minutes(29), true}, {minutes(30) - seconds(1), true}, {minutes(30), false}, {minutes(31), false}};
    for (const auto& row : rows) {
        const auto tracker = makeTracker();
        std::vector<Close> closes;
        const auto watching = watchCloses(*tracker, closes);
        tracker->startTracking();
        executor->advance(row.length);
        tracker->stopTracking();
        executor->runUntilIdle();
        ASSERT_EQ(closes.size(), 1U);
        EXPECT_EQ(closes[0].invalid, row.invalid) << row.length.count() << " s";
        EXPECT_FALSE(closes[0].unexpected);
        EXPECT_EQ(closes[0].date, clock->wallNow());
    }
}

TEST_F(TrackingTest, ANightEndsAfterTwentyFourHours) {
    const auto tracker = makeTracker();
    std::vector<Close> closes;
    const auto watching = watchCloses(*tracker, closes);
    tracker->startTracking();
    executor->advance(std::chrono::hours(24) + seconds(1));
    ASSERT_EQ(lines.size(), 2884U);
    EXPECT_EQ(Lines(lines.end() - 4, lines.end()), (Lines{"didFail over24hours", "didUpload 2879",
                                                          "didClose s1", "ended: closed s1, over24hours"}));
    ASSERT_EQ(closes.size(), 1U);
    EXPECT_EQ(closes[0].invalid, false);
    EXPECT_FALSE(microphone->isRunning());
}

TEST_F(TrackingTest, TheStartCheckAndShipmentsWaitForTheBackground) {
    const auto background = std::make_shared<Testing::ManualExecutor>(clock);
    auto own = *platform;
    own.background = background;
    setPlatform(own);
    makeManager();
    manager->startTracking();
    executor->advance(seconds(3));
    EXPECT_THAT(sent(), Not(Contains("POST ai/v1/sessions")));
    background->runUntilIdle();
    executor->runUntilIdle();
    EXPECT_THAT(sent(), Contains("POST ai/v1/sessions"));
    host->acts = [this](const std::string& line) {
        if (line != "didClose s1") return;
        EXPECT_THAT(files->paths(), ElementsAre("/documents/VelmorSDK.log"))
            << "told before the log is moved";
    };
    manager->stopTracking();
    executor->runUntilIdle();
    EXPECT_THAT(lines, ElementsAre("didCreate", "didClose s1", "ended: closed s1"));
    EXPECT_TRUE(files->contents("/documents/VelmorSDK_send.log"));
    background->runUntilIdle();
    executor->runUntilIdle();
    EXPECT_THAT(http->requests().back().body, HasSubstr(", sessionId:s1, userId:u1, apikey:key"));
}

TEST_F(TrackingTest, TheLogShowsTwoHundredCharactersOfAnError) {
    const std::string detail(300, 'd');
    answerWith = [&](const std::string& path) -> std::optional<HttpResult> {
        if (!path.ends_with("/mel-data/0")) return {};
        return HttpResponse{500, {}, R"({"detail":")" + detail + "\"}"};
    };
    begin();
    executor->advance(seconds(29));
    const auto whole = "httpStatus(500, " + detail + ")";
    EXPECT_THAT(lines, ElementsAre("didFail " + whole));
    EXPECT_THAT(logText(), HasSubstr("| E | tracking | " + whole.substr(0, 200) + "\n"));
}

}  // namespace
}  // namespace Velmor
