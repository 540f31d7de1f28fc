// How nights end: every way, and the one call that tells of it.
#include "../Library/Night.hpp"

namespace Velmor {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class EndTest : public NightTest {
  public:
    void passSeconds(int count) { executor->advance(seconds(count)); }
    void start() { manager->startTracking(); }
    void stop() { manager->stopTracking(); }
    void refuse(std::string place, int status) {
        answerWith = [place = std::move(place),
                      status](const std::string& path) -> std::optional<HttpResult> {
            if (path.ends_with(place)) return HttpResponse{status, {}, R"({"detail":"no"})"};
            return {};
        };
    }
    void configureAgain() { initVelmorConfig("key", "u1", Url::parse(kBaseUrl), {}, {}, nullptr); }
    void replaceManager() { manager = createSleepTrackingManager(*host->joined, std::weak_ptr<Host>()); }

    using NightTest::executor;
    using NightTest::http;
    using NightTest::manager;
    using NightTest::microphone;

  protected:
    /// The service is slow from now on.
    void slow() { http->setDelay(seconds(4)); }
    std::string requestsNamed(const char* end) const {
        std::string found;
        for (const auto& place : sent())
            if (place.ends_with(end)) found += place + "\n";
        return found;
    }
};

struct Way {
    const char* name;
    void (*happens)(EndTest& test);
    Lines told;
};

void PrintTo(const Way& way, std::ostream* out) {
    *out << way.name;
}

class Ways : public EndTest, public testing::WithParamInterface<Way> {};

TEST_P(Ways, LeadToOneFinalWord) {
    makeManager();
    GetParam().happens(*this);
    passSeconds(40);
    EXPECT_EQ(lines, GetParam().told);
    EXPECT_FALSE(microphone->isRunning());
    EXPECT_EQ(manager->getTrackingStatus().sessionId, std::nullopt);
    lines.clear();
    manager.reset();
    setPlatform({});
    executor->runUntilIdle();
    EXPECT_THAT(lines, IsEmpty()) << "nothing is told again";
}

using E = EndTest;
using Kind = PlatformError::Kind;

const std::vector<Way> kWays{
    Way{"permission refused",
        [](E& t) {
            t.microphone->setPermission(RecordPermission::denied);
            t.start();
        },
        {"micPermissionWasDenied", "ended: permissionDenied"}},
    Way{"stopped before the user refused",
        [](E& t) {
            t.microphone->setPermission(RecordPermission::undetermined);
            t.microphone->setPermissionAnswers({false});
            t.start();
            t.stop();
        },
        {"ended: stopped", "micPermissionWasDenied"}},
    Way{"stopped before the user agreed",
        [](E& t) {
            t.microphone->setPermission(RecordPermission::undetermined);
            t.start();
            t.stop();
        },
        {"ended: stopped"}},
    Way{"a microphone of another format",
        [](E& t) {
            t.microphone->setInputFormat({44'100.0, 1});
            t.start();
        },
        {"didFail audioInitializationFailed", "ended: notRecording, audioInitializationFailed"}},
    Way{"a microphone that does not start",
        [](E& t) {
            t.microphone->failStarting(PlatformError(Kind::io, "broken"));
            t.start();
        },
        {"didFail unknown(broken)", "ended: notRecording, unknown(broken)"}},
    Way{"stopped within the first second",
        [](E& t) {
            t.start();
            t.executor->advance(milliseconds(500));
            t.stop();
        },
        {"ended: stopped"}},
    Way{"stopped while it was interrupted from the start",
        [](E& t) {
            t.start();
            t.executor->runUntilIdle();
            t.microphone->beginInterruption();
            t.passSeconds(9);
            t.stop();
        },
        {"didInterrupt", "ended: stopped"}},
    Way{"no session",
        [](E& t) {
            t.refuse("POST ai/v1/sessions", 500);
            t.start();
        },
        {"didFail startTrackingNetworkFail(500, no)",
         "ended: notCreated, startTrackingNetworkFail(500, no)"}},
    Way{"a session without a name",
        [](E& t) {
            t.refuse("POST ai/v1/sessions", 204);
            t.start();
        },
        {"didFail responseResult(ai/v1/sessions)", "ended: notCreated, responseResult(ai/v1/sessions)"}},
    Way{"stopped while the session was made",
        [](E& t) {
            t.http->setDelay(seconds(4));
            t.start();
            t.passSeconds(2);
            t.stop();
        },
        {"didCreate", "didClose s1", "ended: closed s1"}},
    Way{"stopped while no session was made",
        [](E& t) {
            t.http->setDelay(seconds(4));
            t.refuse("POST ai/v1/sessions", 500);
            t.start();
            t.passSeconds(2);
            t.stop();
        },
        {"didFail startTrackingNetworkFail(500, no)",
         "ended: notCreated, startTrackingNetworkFail(500, no)"}},
    Way{"closed",
        [](E& t) {
            t.start();
            t.start();
            t.passSeconds(31);
            t.stop();
            t.stop();
            t.start();
        },
        {"didCreate", "didUpload 0", "didClose s1", "ended: closed s1"}},
    Way{"not closed",
        [](E& t) {
            t.refuse("/close", 500);
            t.start();
            t.passSeconds(2);
            t.stop();
        },
        {"didCreate", "didFail stopTrackingNetworkFail(500, no)",
         "ended: notClosed s1, stopTrackingNetworkFail(500, no)"}},
    Way{"a session that is gone",
        [](E& t) {
            t.refuse("/mel-data/0", 404);
            t.start();
        },
        {"didCreate", "didFail httpStatus(404, no)", "ended: sessionGone s1, httpStatus(404, no)"}},
    Way{"a session that is gone when it is closed",
        [](E& t) {
            t.refuse("s1/mel-data/0", 403);
            t.start();
            t.executor->advance(seconds(30) - milliseconds(1));
            t.http->setDelay(seconds(4));
            t.passSeconds(1);
            t.stop();
        },
        {"didCreate", "didFail httpStatus(403, no)", "didClose s1", "ended: closed s1"}},
    Way{"the microphone lost in the night",
        [](E& t) {
            t.start();
            t.passSeconds(9);
            t.microphone->changeInputFormat({44'100.0, 1});
        },
        {"didCreate", "didFail audioInitializationFailed", "didClose s1",
         "ended: closed s1, audioInitializationFailed"}},
    Way{"configured again",
        [](E& t) {
            t.start();
            t.passSeconds(9);
            t.configureAgain();
        },
        {"didCreate", "ended: abandoned s1"}},
    Way{"configured again before it was started",
        [](E& t) {
            t.start();
            t.configureAgain();
        },
        {"ended: abandoned"}},
    Way{"another manager",
        [](E& t) {
            t.start();
            t.passSeconds(9);
            t.replaceManager();
        },
        {"didCreate", "ended: abandoned s1"}},
    Way{"another manager before it was started",
        [](E& t) {
            t.start();
            t.replaceManager();
        },
        {"ended: abandoned"}}};

INSTANTIATE_TEST_SUITE_P(, Ways, testing::ValuesIn(kWays));

// What a stop has queued is done, whoever configures or makes a manager meanwhile.
TEST_F(EndTest, AStoppedNightIsClosedWhateverTheHostDoesNext) {
    for (const bool configures : {true, false}) {
        lines.clear();
        http->setDelay({});
        makeManager();
        const auto session = "s" + std::to_string(sessions + 1);
        start();
        executor->advance(seconds(30) - milliseconds(1));
        slow();
        passSeconds(1);
        stop();
        if (configures)
            configureAgain();
        else
            replaceManager();
        EXPECT_EQ(manager->getTrackingStatus().sessionId, std::nullopt) << "at once";
        passSeconds(30);
        EXPECT_THAT(lines, ElementsAre("didCreate", "didUpload 0", "didClose " + session,
                                       "ended: closed " + session));
        EXPECT_THAT(sent(), Contains("POST ai/v1/sessions/" + session + "/close"));
        manager.reset();
    }
}

TEST_F(EndTest, AStopBeforeTheSessionExistsHoldsThroughAnotherConfiguration) {
    makeManager();
    slow();
    start();
    passSeconds(2);
    stop();
    configureAgain();
    passSeconds(40);
    EXPECT_THAT(lines, ElementsAre("didCreate", "didClose s1", "ended: closed s1"));
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
        if (line.starts_with("ended: sessionGone")) start();
    };
    passSeconds(8);
    microphone->beginInterruption();
    passSeconds(45);
    microphone->endInterruption();  // chunk 0 is full at once and 1 in 5 s: 0 is refused while 1 waits
    passSeconds(50);
    EXPECT_THAT(lines, ElementsAre("didInterrupt", "didResume", "didFail httpStatus(404, gone)",
                                   "ended: sessionGone s1, httpStatus(404, gone)",
                                   "didFail httpStatus(404, gone)", "didCreate", "didUpload 0"));
    EXPECT_TRUE(microphone->isRunning());
    EXPECT_EQ(manager->getTrackingStatus().sessionId, "s2");
}

// A report that is asked for too early answers 404, which is no word about the session being recorded.
TEST_F(EndTest, AnAnalysisThatFailsEndsNothing) {
    begin();
    manager->requestAnalysis();
    passSeconds(29);
    EXPECT_THAT(lines, ElementsAre("didFail httpStatus(404, not analysed yet)", "didUpload 0"));
}

TEST_F(EndTest, AnInterruptionWithinTheFirstSecondOnlyDelaysTheSession) {
    makeManager();
    start();
    executor->advance(milliseconds(300));
    microphone->beginInterruption();
    executor->advance(milliseconds(300));
    microphone->endInterruption();
    passSeconds(31);
    EXPECT_THAT(lines, ElementsAre("didInterrupt", "didResume", "didCreate", "didUpload 0"));

    manager.reset();
    makeManager();
    start();
    executor->advance(milliseconds(300));
    microphone->beginInterruption();
    passSeconds(9);
    EXPECT_THAT(lines, ElementsAre("didInterrupt"));
    microphone->endInterruption();
    passSeconds(31);
    EXPECT_THAT(lines, ElementsAre("didInterrupt", "didResume", "didCreate", "didUpload 0"));
}

// Whoever is told of a failure finds the state behind it.
TEST_F(EndTest, FailuresAreToldWhenTheStateHasChanged) {
    std::vector<std::optional<std::string>> found;
    host->acts = [&](const std::string& line) {
        if (line.starts_with("didFail")) found.push_back(manager->getTrackingStatus().sessionId);
    };
    makeManager();
    for (const auto* place : {"/close", "/mel-data/0", "POST ai/v1/sessions"}) {
        refuse(place, 403);
        start();
        passSeconds(31);
        stop();
        passSeconds(1);
    }
    EXPECT_THAT(found, ElementsAre(std::nullopt, std::nullopt, std::nullopt));
    answerWith = {};
    manager->requestAnalysis();
    executor->runUntilIdle();
    EXPECT_THAT(sent().back(), Not(HasSubstr("data/v3"))) << "a night that was not created leaves no session";
}

TEST_F(EndTest, FailuresOfStartAndCloseKeepTheirCause) {
    makeManager();
    answerWith = [](const std::string& path) -> std::optional<HttpResult> {
        if (path.ends_with("ai/v1/sessions") || path.ends_with("/close"))
            return PlatformError(Kind::timedOut, "no answer within 15 s");
        return {};
    };
    start();
    passSeconds(2);
    EXPECT_THAT(logText(), HasSubstr("| E | tracking | startTrackingNetworkFail(-9999, )\n"));
    EXPECT_THAT(logText(), HasSubstr("| E | tracking | cause: no answer within 15 s\n"));
}

}  // namespace
}  // namespace Velmor
