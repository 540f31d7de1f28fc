// What each operation and each event of the audio session does in each state.
#include "RecorderScene.hpp"

#include <array>

namespace Velmor {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Kind = PlatformError::Kind;

struct Row {
    const char* from;
    std::vector<const char*> steps;  // of `States::arrange`
    const char* afterStart;
    const char* afterStop;
    const char* afterResume;
    bool stopRefused;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.from;
}

const std::array<Row, 10> kRows{{
    {"notDetermined", {}, "started", "notDetermined", "notDetermined", true},
    {"started", {"start"}, "started", "stopped", "resumed", false},
    {"interrupted", {"start", "interrupt"}, "interrupted", "stopped", "resumed", false},
    {"resumed", {"start", "resume"}, "resumed", "stopped", "resumed", false},
    {"stopped", {"start", "stop"}, "started", "stopped", "stopped", true},
    {"error(audioInitializationFailed)", {"unfit", "start"}, "started", "stopped", "resumed", false},
    {"error(cannotActivateInBackground)", {"background", "start"}, "started", "stopped", "resumed", false},
    {"error(shouldResume)",
     {"start", "interrupt", "background", "end"},
     "started",
     "stopped",
     "resumed",
     false},
    {"error(unknown(no session))",
     {"unset", "start"},
     "started",
     "error(unknown(no session))",
     "error(unknown(no session))",
     true},
    {"error(unknown(broken))", {"broken", "start"}, "started", "error(unknown(broken))", "resumed", true},
}};

class States : public RecorderScene, public testing::WithParamInterface<Row> {
  protected:
    void SetUp() override {
        for (const std::string step : GetParam().steps) arrange(step);
        microphone->setInputFormat({48'000.0, 1});
        microphone->failConfiguring({});
        microphone->failActivating({});
        microphone->failStarting({});
        settle();
        ASSERT_THAT(state(), HasSubstr(GetParam().from));
        printed();
        EXPECT_EQ(std::ranges::count_if(heard(), [](const auto& event) { return event.starts_with("fail"); }),
                  state().starts_with("error"));
    }

    void arrange(const std::string& step) {
        if (step == "start") service->start();
        if (step == "stop") service->stop();
        if (step == "resume") service->resume();
        if (step == "interrupt") microphone->beginInterruption();
        if (step == "end") {
            microphone->endInterruption();
            settle();
        }
        if (step == "unfit") microphone->setInputFormat({44'100.0, 1});
        if (step == "background")
            microphone->failActivating(PlatformError(Kind::backgroundActivation, "away"));
        if (step == "unset") microphone->failConfiguring(PlatformError(Kind::io, "no session"));
        if (step == "broken") microphone->failStarting(PlatformError(Kind::io, "broken"));
    }

    /// The state without the date of its start.
    std::string afterwards() {
        settle();
        return state().substr(0, state().starts_with("started") ? 7 : std::string::npos);
    }
};

TEST_P(States, Start) {
    const std::string before = afterwards();
    service->start();
    const auto lines = printed();
    EXPECT_EQ(afterwards(), GetParam().afterStart);
    if (std::string(GetParam().afterStart) != "started" || before == "started") {
        EXPECT_THAT(lines, ElementsAre("Recorder: start request can not working"));
        EXPECT_EQ(afterwards(), before);
    } else {
        EXPECT_TRUE(microphone->isRunning());
        EXPECT_EQ(microphone->taps(), 1U);
        EXPECT_EQ(temporaryFiles().size(), 2U);
    }
}

TEST_P(States, Stop) {
    service->stop();
    const auto lines = printed();
    EXPECT_EQ(afterwards(), GetParam().afterStop);
    if (GetParam().stopRefused) {
        EXPECT_THAT(lines, ElementsAre("Recorder: stop request can not working"));
    } else {
        EXPECT_THAT(lines, Contains("Recorder: state stopped"));
        EXPECT_FALSE(service->firstFrameTime());
    }
    EXPECT_EQ(microphone->engines(), 0U);
    EXPECT_FALSE(microphone->isObserved());
    EXPECT_THAT(temporaryFiles(), IsEmpty());
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_P(States, Resume) {
    service->resume();
    const auto lines = printed();
    EXPECT_EQ(afterwards(), GetParam().afterResume);
    if (afterwards() != "resumed") {
        EXPECT_THAT(lines, ElementsAre("Recorder: resume request can not working"));
        return;
    }
    EXPECT_THAT(lines, ElementsAre("Recorder: state resumed"));
    EXPECT_THAT(heard(), ElementsAre("resume"));
    EXPECT_TRUE(microphone->isRunning());
    EXPECT_EQ(microphone->mostTaps(), 1U);
}

TEST_P(States, Reset) {
    service->reset();
    EXPECT_THAT(printed(), Contains("Recorder: reset audio engine"));
    EXPECT_EQ(afterwards(), "notDetermined");
    EXPECT_EQ(microphone->engines(), 0U);
    EXPECT_THAT(temporaryFiles(), IsEmpty());
    service->start();
    EXPECT_EQ(afterwards(), "started");
}

INSTANTIATE_TEST_SUITE_P(, States, testing::ValuesIn(kRows));

class Session : public RecorderScene {};

TEST_F(Session, StartConfiguresTapsAndStartsAndStopReleases) {
    start();
    EXPECT_THAT(calls(), ElementsAre(kConfigure, "make engine", "attach mixer 0", kConfigure, kConfigure,
                                     "activate", kTap, "start"));
    EXPECT_EQ(state(), "started(2023-11-14T22:13:20Z)");

    pass(1s);
    recorder->stop();
    EXPECT_THAT(calls(), ElementsAre("release"));
}

// The sound ends before the interruption does: what follows the silence is nothing, unless the filter
// remembers what was before.
TEST_F(Session, AnInterruptionBeginsWithTheLastWholeBufferAndIsFilledAfterTheHostHasHeardOfItsEnd) {
    tone->value = [](std::uint64_t frame) { return frame < 11 * 48'000 ? 0.5F : 0.0F; };
    std::size_t written = 0;
    onResume = [&] { written = files->contents("/tmp/velmor/chunk-14:22:13:20_0.pcm").value_or("").size(); };
    start();
    pass(10'200ms);
    calls();
    microphone->beginInterruption();
    settle();
    EXPECT_THAT(calls(), ElementsAre("pause"));
    pass(2s);
    microphone->changeInputFormat({48'000.0, 1});
    settle();
    EXPECT_THAT(calls(), IsEmpty()) << "the interruption goes on";
    pass(2'800ms);
    microphone->endInterruption();
    settle();
    EXPECT_EQ(written, 56U + 4 * 160'000);
    EXPECT_THAT(calls(), ElementsAre(kConfigure, "activate", "remove tap", "detach mixer", "stop",
                                     "attach mixer 0", kConfigure, kTap, "start"));
    microphone->notify({AudioNotification::EngineConfigurationChanged{}, "another"});
    pass(16s);
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(heard(), ElementsAre("interrupt", "resume", "0: +160000 -320000"));
}

TEST_F(Session, ANewConfigurationStartsTheEngineAgainAndLosesNoTime) {
    tone->value = [](std::uint64_t frame) {
        return frame < 10 * 48'000 || frame > 20 * 48'000 ? 0.5F : 0.0F;
    };
    start();
    pass(10'200ms);
    calls();
    microphone->changeInputFormat({48'000.0, 1});
    settle();
    EXPECT_THAT(calls(), ElementsAre("remove tap", kTap, "start"));
    pass(20s);
    EXPECT_THAT(heard(), ElementsAre(testing::MatchesRegex("0: \\+160000 -1600[0-9][0-9] \\+.*")));
}

TEST_F(Session, FormatsThatDoNotFitAreReportedOnceAtTheStartAndInMidNight) {
    const std::vector<std::pair<AudioFormat, std::string>> rows{
        {{44'100.0, 1}, "sampleRate: 44100.0, channelCount: 1"},
        {{48'000.0, 2}, "sampleRate: 48000.0, channelCount: 2"},
        {{0.0, 0}, "sampleRate: 0.0, channelCount: 0"},
        {{std::nan(""), 1}, "sampleRate: nan, channelCount: 1"}};
    for (const auto& [format, text] : rows) {
        SCOPED_TRACE(text);
        const std::string line = "E | recording | setupEngine FORMAT-ERROR " + text;
        microphone->setInputFormat(format);
        start();
        EXPECT_THAT(heard(), ElementsAre("fail audioInitializationFailed"));
        EXPECT_THAT(logged(), Contains(line));
        EXPECT_EQ(microphone->taps(), 0U);

        microphone->setInputFormat({48'000.0, 1});
        start();
        pass(35s);
        microphone->changeInputFormat(format);
        pass(10s);
        EXPECT_THAT(heard(), ElementsAre("0: +480000", "fail audioInitializationFailed"));
        EXPECT_EQ(std::ranges::count(logged(), line), 2);

        microphone->changeInputFormat({48'000.0, 1});  // mended: the time without input becomes silence
        pass(16s);
        EXPECT_THAT(heard(), ElementsAre("resume", "1: +76800 -163200 +240000"));
        recorder->stop();
    }
}

TEST_F(Session, AResumeInTheBackgroundCanBeRepeatedLater) {
    start();
    pass(10s);
    microphone->beginInterruption();
    pass(5s);
    microphone->failActivating(PlatformError(Kind::backgroundActivation, "in the background"));
    microphone->endInterruption();
    pass(5s);
    EXPECT_THAT(heard(), ElementsAre("interrupt", "resume", "fail shouldResume"));
    EXPECT_THAT(logged(), Contains("I | recording | [ST] resumed(cannotActivateInBackground)"));
    EXPECT_THAT(printed(), Contains("Recorder: state resumed(cannotActivateInBackground)"));

    recorder->resume();
    pass(5s);
    EXPECT_THAT(heard(), ElementsAre("resume", "fail shouldResume"))
        << "the host's own attempt is told again";
    printed();

    microphone->failActivating({});
    recorder->resume();
    pass(6s);
    EXPECT_THAT(heard(), ElementsAre("resume", "0: +160000 -240000 +80000"));
    EXPECT_THAT(printed(), ElementsAre("Recorder: request resume", "Recorder: state resumed"));
}

TEST_F(Session, FramesThatStayAwayAreAnInterruptionUntilTheyReturn) {
    for (const auto heardBefore : {0s, 10s}) {  // or never came
        recorder->stop();
        microphone->setDelivering(heardBefore > 0s);
        start();
        pass(heardBefore);
        microphone->setDelivering(false);
        pass(1900ms);
        EXPECT_THAT(heard(), IsEmpty());
        pass(200ms);
        EXPECT_THAT(heard(), ElementsAre("interrupt"));
    }
    pass(5'900ms);
    microphone->beginInterruption();  // told late: not twice
    microphone->endInterruption();
    EXPECT_THAT(heard(), IsEmpty());
    settle();
    EXPECT_THAT(heard(), ElementsAre("resume"));
    pass(3s);
    EXPECT_THAT(heard(), ElementsAre("interrupt"));
    microphone->setDelivering(true);
    pass(10s);
    EXPECT_THAT(heard(), ElementsAre("resume", testing::MatchesRegex("0: \\+160000 -[0-9]+ \\+[0-9]+")));
    EXPECT_EQ(microphone->mostTaps(), 1U);

    microphone->setDelivering(false);
    pass(250s);  // by then the engine is looked after every 60 s, the next time 53 s later
    microphone->setDelivering(true);
    pass(5s);
    microphone->setDelivering(false);
    heard();
    pass(2'100ms);
    EXPECT_THAT(heard(), ElementsAre("interrupt")) << "noticed as soon as the first time";
}

TEST_F(Session, EachBlockIsTakenWhenItIsComplete) {
    std::vector<BootTime> taken;
    const auto heardBlocks =
        service->bufferSender.subscribe([&](const PcmBuffer&) { taken.push_back(clock->bootNow()); });
    start();
    const auto begin = clock->bootNow();
    pass(1'300ms);
    EXPECT_THAT(taken, ElementsAre(begin + 400ms, begin + 800ms, begin + 1'200ms));
}

TEST_F(Session, NothingIsLeftOfTheSoundBeforeFramesStayedAway) {
    tone->value = [](std::uint64_t frame) { return frame < 10 * 48'000 ? 0.5F : 0.0F; };
    start();
    pass(10s);
    microphone->loseBuffers(8);
    pass(21s);
    EXPECT_THAT(heard(), ElementsAre("interrupt", "resume", "0: +160000 -320000"));
}

// After 2 s the watch has begun an interruption of its own.
TEST_F(Session, ANewConfigurationToldLateDoesNotLeaveTheEngineStandingStill) {
    for (const auto told : {1'000ms, 3'000ms, 3'500ms, 4'000ms}) {
        start();
        pass(10s);
        microphone->setDelivering(false);
        pass(told);
        microphone->changeInputFormat({48'000.0, 1});
        pass(5s - told);
        microphone->setDelivering(true);
        pass(16s);
        EXPECT_THAT(heard(), ElementsAre("interrupt", "resume",
                                         testing::MatchesRegex("0: \\+160000 -[78][0-9]{4} \\+24[0-9]{4}")))
            << told.count();
        recorder->stop();
    }
}

TEST_F(Session, AnEngineThatStopsBeforeTheFirstFramesAfterAnInterruptionIsStartedAgain) {
    start();
    pass(10s);
    microphone->beginInterruption();
    pass(1s);
    microphone->endInterruption();
    pass(200ms);
    microphone->changeInputFormat({48'000.0, 1});
    settle();
    EXPECT_FALSE(microphone->isRunning());
    pass(4s);
    EXPECT_THAT(heard(), ElementsAre("interrupt", "resume", "interrupt", "resume"));
    EXPECT_TRUE(microphone->isRunning());
}

TEST_F(Session, AttemptsToStartTheEngineAgainAreToldOnceAndGrowRare) {
    start();
    pass(10s);
    microphone->failStarting(PlatformError(Kind::io, "broken"));
    microphone->changeInputFormat({48'000.0, 1});
    pass(10min);
    EXPECT_THAT(heard(), ElementsAre("fail unknown(broken)"));
    EXPECT_EQ(std::ranges::count(logged(), "E | recording | startEngine ERROR: broken"), 1);
    EXPECT_EQ(std::ranges::count(calls(), "start"), 16);  // at 0, 1, 3, 7, 15, 31, 63, 123, ... s
    microphone->failStarting(PlatformError(Kind::audioUnavailable, "gone"));
    pass(1min);
    EXPECT_THAT(heard(), ElementsAre("fail audioInitializationFailed")) << "another failure";
    microphone->failStarting({});
    pass(61s);
    EXPECT_EQ(heard().at(0), "resume");
    EXPECT_EQ(state(), "resumed");
    recorder->stop();
    EXPECT_FALSE(loop->next() && *loop->next() > clock->bootNow() + 1min);
}

TEST_F(Session, AMachineThatSleptFillsTheTimeAndGoesOn) {
    start();
    pass(40s);
    clock->advance(8h);  // nobody ran
    EXPECT_LT(loop->runUntilIdle(), 20U);
    pass(30s);
    EXPECT_THAT(heard(), ElementsAre("0: +480000", "interrupt", "resume", HasSubstr("1: +160000 -320000"),
                                     testing::MatchesRegex("961: -[0-9]+ \\+[0-9]+")));
}

TEST_F(Session, RestartedMediaServicesAreAnInterruptionWithANewEngine) {
    start();
    pass(10s);
    calls();
    microphone->resetMediaServices();
    settle();
    EXPECT_THAT(calls(), ElementsAre("pause", kConfigure, "activate", "remove tap", "detach mixer", "stop",
                                     "release", "make engine", "attach mixer 0", kConfigure, kTap, "start"));
    pass(21s);
    EXPECT_THAT(heard(), ElementsAre("interrupt", "resume", "0: +480000"));
}

}  // namespace
}  // namespace Velmor
