// How nights end: every way, and the one call that tells of it.
#include "../Library/Night.hpp"

namespace Velmor {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class EndTest : public NightTest {};

struct Way {
    const char* name;
    const char* script;
    Lines told;
};

void PrintTo(const Way& way, std::ostream* out) {
    *out << way.name;
}

class Ways : public EndTest, public testing::WithParamInterface<Way> {};

TEST_P(Ways, LeadToOneFinalWord) {
    makeManager();
    const std::weak_ptr<SleepTrackingManager> first = manager;
    const std::string script = GetParam().script;
    play(script);
    if (script.ends_with("configure") || script.ends_with("replace")) {
        EXPECT_EQ(manager->getTrackingStatus().sessionId, std::nullopt) << "at once";
    }
    play("40");
    EXPECT_EQ(first.expired(), script.ends_with("replace")) << "kept for no longer than its nights need";
    EXPECT_EQ(lines, GetParam().told);
    EXPECT_FALSE(microphone->isRunning());
    EXPECT_EQ(manager->getTrackingStatus().sessionId, std::nullopt);
    lines.clear();
    manager.reset();
    setPlatform({});
    executor->runUntilIdle();
    EXPECT_THAT(lines, IsEmpty()) << "nothing is told again";
}

const std::vector<Way> kWays{
    {"permission refused", "denied start", {"micPermissionWasDenied", "ended: permissionDenied"}},
    {"stopped before the user refused", "refusing start stop", {"ended: stopped", "micPermissionWasDenied"}},
    {"stopped before the user agreed", "asking start stop", {"ended: stopped"}},
    {"a microphone of another format",
     "unfit start",
     {"didFail audioInitializationFailed", "ended: notRecording, audioInitializationFailed"}},
    {"a microphone that does not start",
     "broken start",
     {"didFail unknown(broken)", "ended: notRecording, unknown(broken)"}},
    {"stopped within the first second", "start 0.5 stop", {"ended: stopped"}},
    {"stopped while it was interrupted from the start",
     "start 0 interrupt 9 stop",
     {"didInterrupt", "ended: stopped"}},
    {"interrupted within the first second",
     "start 0.3 interrupt 0.3 continue 31 stop",
     {"didInterrupt", "didResume", "didCreate", "didUpload 0", "didClose s1", "ended: closed s1"}},
    {"interrupted within the first second and for longer",
     "start 0.3 interrupt 9 continue 31 stop",
     {"didInterrupt", "didResume", "didCreate", "didUpload 0", "didClose s1", "ended: closed s1"}},
    {"no session",
     "500:/sessions start",
     {"didFail startTrackingNetworkFail(500, no)", "ended: notCreated, startTrackingNetworkFail(500, no)"}},
    {"a session without a name",
     "204:/sessions start",
     {"didFail responseResult(ai/v1/sessions)", "ended: notCreated, responseResult(ai/v1/sessions)"}},
    {"stopped while the session was made",
     "slow start 2 stop",
     {"didCreate", "didClose s1", "ended: closed s1"}},
    {"stopped while the session was made, then configured again",
     "slow start 2 stop configure",
     {"didCreate", "didClose s1", "ended: closed s1"}},
    {"stopped while no session was made",
     "slow 500:/sessions start 2 stop",
     {"didFail startTrackingNetworkFail(500, no)", "ended: notCreated, startTrackingNetworkFail(500, no)"}},
    {"stopped and started while the second session was made",
     "start 2 stop 0 slow start 2 stop start 40 stop",
     {"didCreate", "didClose s1", "ended: closed s1", "didCreate", "didUpload 0", "didClose s2",
      "ended: closed s2"}},
    {"closed",
     "start start 0.9 start 5 start 26 stop stop start",
     {"didCreate", "didUpload 0", "didClose s1", "ended: closed s1"}},
    {"stopped with the last buffer of a chunk",
     "start 29.999 tick stop",
     {"didCreate", "didUpload 0", "didClose s1", "ended: closed s1"}},
    {"stopped with an upload under way, then configured again",
     "start 29.999 slow 1 stop configure",
     {"didCreate", "didUpload 0", "didClose s1", "ended: closed s1"}},
    {"stopped with an upload under way, then another manager",
     "start 29.999 slow 1 stop replace",
     {"didCreate", "didUpload 0", "didClose s1", "ended: closed s1"}},
    {"an analysis too early, which is no word about the session being recorded",
     "start 2 analysis 29 stop",
     {"didCreate", "didFail httpStatus(404, not analysed yet)", "didUpload 0", "didClose s1",
      "ended: closed s1"}},
    {"not closed",
     "500:/close start 2 stop",
     {"didCreate", "didFail stopTrackingNetworkFail(500, no)",
      "ended: notClosed s1, stopTrackingNetworkFail(500, no)"}},
    {"a session that is gone",
     "404:/mel-data/0 start",
     {"didCreate", "didFail httpStatus(404, no)", "ended: sessionGone s1, httpStatus(404, no)"}},
    {"a session that is gone when it is closed",
     "403:/mel-data/0 start 29.999 slow 1 stop",
     {"didCreate", "didFail httpStatus(403, no)", "didClose s1", "ended: closed s1"}},
    {"the microphone lost in the night",
     "start 9 unfit",
     {"didCreate", "didFail audioInitializationFailed", "didClose s1",
      "ended: closed s1, audioInitializationFailed"}},
    {"configured again", "start 9 configure", {"didCreate", "ended: abandoned s1"}},
    {"configured again before it was started", "start configure", {"ended: abandoned"}},
    {"another manager", "start 9 replace", {"didCreate", "ended: abandoned s1"}},
    {"another manager before it was started", "start replace", {"ended: abandoned"}}};

INSTANTIATE_TEST_SUITE_P(, Ways, testing::ValuesIn(kWays));

TEST_F(EndTest, ConfirmationsAfterTheStopBelongToTheirSession) {
    makeManager();
    play("start 29.999 slow 1 stop 14 start 50 stop 10");
    EXPECT_THAT(lines, ElementsAre("didCreate", "didUpload 0", "didClose s1", "ended: closed s1", "didCreate",
                                   "didUpload 0", "didClose s2", "ended: closed s2"));
    for (const auto& request : http->requests())
        if (placeOf(request).ends_with("/logs")) {
            EXPECT_THAT(request.body, HasSubstr("| Upload | 0 1\\n"));
        }
}

// Chunks of a dead session may be refused one after the other, when another one is alive long since.
TEST_F(EndTest, OnlyTheCurrentSessionsEndIsTheRecordings) {
    answerWith = [](const std::string& path) -> std::optional<HttpResult> {
        if (path.find("s1/mel-data/") != path.npos) return HttpResponse{404, {}, R"({"detail":"gone"})"};
        return {};
    };
    begin();
    http->setDelay(seconds(8));
    host->acts = [this](const std::string& line) {
        if (line.starts_with("ended: sessionGone")) manager->startTracking();
    };
    play("8 interrupt 45 continue 50");  // chunk 0 is full at once and 1 in 5 s: 0 is refused while 1 waits
    EXPECT_THAT(lines, ElementsAre("didInterrupt", "didResume", "didFail httpStatus(404, gone)",
                                   "ended: sessionGone s1, httpStatus(404, gone)",
                                   "didFail httpStatus(404, gone)", "didCreate", "didUpload 0"));
    EXPECT_TRUE(microphone->isRunning());
    EXPECT_EQ(manager->getTrackingStatus().sessionId, "s2");
}

// Whoever is told of a failure finds the state behind it.
TEST_F(EndTest, FailuresAreToldWhenTheStateHasChanged) {
    std::vector<std::optional<std::string>> found;
    host->acts = [&](const std::string& line) {
        if (line.starts_with("didFail")) found.push_back(manager->getTrackingStatus().sessionId);
    };
    makeManager();
    for (const std::string place : {"/close", "/mel-data/0", "/sessions"})
        play("403:" + place + " start 31 stop 1");
    EXPECT_THAT(found, ElementsAre(std::nullopt, std::nullopt, std::nullopt));
    answerWith = {};
    play("analysis 0");
    EXPECT_THAT(sent().back(), Not(HasSubstr("data/v3"))) << "a night that was not created leaves no session";
}

TEST_F(EndTest, FailuresOfStartAndCloseKeepTheirCause) {
    makeManager();
    answerWith = [](const std::string& path) -> std::optional<HttpResult> {
        if (path.ends_with("ai/v1/sessions") || path.ends_with("/close"))
            return PlatformError(PlatformError::Kind::timedOut, "no answer within 15 s");
        return {};
    };
    play("start 2");
    EXPECT_THAT(logText(), HasSubstr("| E | tracking | startTrackingNetworkFail(-9999, )\n"));
    EXPECT_THAT(logText(), HasSubstr("| E | tracking | cause: no answer within 15 s\n"));
}

}  // namespace
}  // namespace Velmor
