// Nights through the public interface, on a virtual clock.
#include "../Library/Night.hpp"
#include "../Recorder/CountedSamples.hpp"
#include "SleepTrackingManager/SleepTracker.hpp"

namespace Velmor {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class TrackingTest : public NightTest {
  protected:
    using Close = SessionsService::Request::close;

    /// Without the entry points and without conversions, for long nights.
    std::shared_ptr<SleepTracker> makeTracker() {
        const auto parts = countingParts([files = files](const std::string&) {
            const std::string path = files->temporaryDirectory() + "result.mel";
            files->put(path, "mel");
            return path;
        });
        return SleepTracker::make(platform, std::make_shared<LogAPI>(platform),
                                  Config("key", "u1", Url::parse(kBaseUrl)), host, parts);
    }
};

TEST_F(TrackingTest, SessionIsOpenedOnlyForARecordingThatRuns) {
    makeManager();
    play("denied start 3");
    EXPECT_THAT(logText(), HasSubstr("| I | tracking | mic permission was denied\n"));
    EXPECT_THAT(logText(), HasSubstr("| I | tracking | start request can not working\n"));

    microphone->setPermission(RecordPermission::granted);
    play("broken start 3");
    EXPECT_THAT(logText(), HasSubstr("| E | tracking | request failed error(unknown(broken))\n"));
    EXPECT_THAT(sent(), Not(Contains("POST ai/v1/sessions")));
}

TEST_F(TrackingTest, TheStatusSaysWhetherSoundIsRecorded) {
    std::string seen;
    makeManager();
    for (const char* step :
         {"0", "start 0", "2 interrupt 0", "continue 0", "deaf 3", "hearing 1", "stop 0"}) {
        play(step);
        const auto status = manager->getTrackingStatus();
        seen += status.sessionId.value_or("-") + (status.recording ? "+ " : "_ ");
    }
    EXPECT_EQ(seen, "-_ -+ s1_ s1+ s1_ s1+ -_ ");
}

// The flag is no part of the request's body; it travels on the channel of requests.
TEST_F(TrackingTest, ANightUnderHalfAnHourIsInvalidAndOneOf24HoursEndsByItself) {
    const struct {
        seconds length;
        bool invalid;
        Lines end;
    } rows[] = {{minutes(29), true, {"didClose s1", "ended: closed s1"}},
                {minutes(30) - seconds(1), true, {"didClose s2", "ended: closed s2"}},
                {minutes(30), false, {"didClose s3", "ended: closed s3"}},
                {minutes(31), false, {"didClose s4", "ended: closed s4"}},
                {std::chrono::hours(24),
                 false,
                 {"didFail over24hours", "didUpload 2879", "didClose s5", "ended: closed s5, over24hours"}}};
    for (const auto& row : rows) {
        const auto tracker = makeTracker();
        std::vector<Close> closes;
        const auto watching = tracker->sessionService()->requestAction.subscribe([&](const auto& request) {
            if (const auto* close = std::get_if<Close>(&request.value)) closes.push_back(*close);
        });
        tracker->startTracking();
        executor->advance(row.length);
        tracker->stopTracking();
        executor->runUntilIdle();
        ASSERT_EQ(closes.size(), 1U);
        EXPECT_EQ(closes[0].invalid, row.invalid) << row.length.count() << " s";
        EXPECT_FALSE(closes[0].unexpected);
        EXPECT_EQ(closes[0].date, clock->wallNow());
        EXPECT_EQ(Lines(lines.end() - std::ssize(row.end), lines.end()), row.end);
        EXPECT_FALSE(microphone->isRunning());
    }
}

TEST_F(TrackingTest, TheStartCheckAndShipmentsWaitForTheBackground) {
    const auto background = std::make_shared<Testing::ManualExecutor>(clock);
    auto own = *platform;
    own.background = background;
    setPlatform(own);
    makeManager();
    play("start 3");
    EXPECT_THAT(sent(), Not(Contains("POST ai/v1/sessions")));
    background->runUntilIdle();
    executor->runUntilIdle();
    EXPECT_THAT(sent(), Contains("POST ai/v1/sessions"));
    host->acts = [this](const std::string& line) {
        if (line != "didClose s1") return;
        EXPECT_THAT(files->paths(), ElementsAre("/documents/VelmorSDK.log"))
            << "told before the log is moved";
    };
    play("stop 0");
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
