// Whole recordings: numbers, cuts, gaps, lag.
#include "Recorder/ChunkCutter.hpp"
#include "RecorderScene.hpp"

namespace Velmor {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Night : public RecorderScene {};

struct Gap {
    nanoseconds offset;  // of the interruption from the start of the second chunk, on a block's border
    nanoseconds length;
    std::vector<std::string> chunks;  // after the first, up to the third that follows the gap
};

void PrintTo(const Gap& gap, std::ostream* out) {
    *out << gap.length.count() << " ns after " << gap.offset.count() << " ns";
}

constexpr nanoseconds kFrame = 62'500ns;

class Gaps : public Night, public testing::WithParamInterface<Gap> {};

TEST_P(Gaps, ChunksStayExactAndNumbered) {
    const auto& gap = GetParam();
    microphone->scheduleInterruption(30s + gap.offset, 30s + gap.offset + gap.length);
    start();
    pass(30s + gap.offset + gap.length + 61s);
    std::vector<std::string> chunks;
    for (const auto& event : heard())
        if (event != "interrupt" && event != "resume" && event != "0: +480000") chunks.push_back(event);
    chunks.resize(std::min(chunks.size(), gap.chunks.size()));
    EXPECT_EQ(chunks, gap.chunks);
    EXPECT_EQ(state(), "resumed");
    recorder->stop();
    settle();
    EXPECT_THAT(temporaryFiles(), IsEmpty());
    EXPECT_EQ(files->openFiles(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    , Gaps,
    testing::Values(Gap{0s, kFrame, {"1: -1 +479999", "2: +480000"}},  //
                    Gap{0s, 30s, {"1: -480000", "2: +480000"}},        //
                    Gap{0s, 30s + kFrame, {"1: -480000", "2: -1 +479999"}},
                    Gap{10s, 0s, {"1: +480000", "2: +480000"}},
                    Gap{10s, kFrame, {"1: +160000 -1 +319999", "2: +480000"}},
                    Gap{10s, 20s - kFrame, {"1: +160000 -319999 +1", "2: +480000"}},
                    Gap{10s, 20s, {"1: +160000 -320000", "2: +480000"}},
                    Gap{10s, 20s + kFrame, {"1: +160000 -320000", "2: -1 +479999"}},
                    Gap{10s, 50s, {"1: +160000 -320000", "3: +480000"}},
                    Gap{10s, 60s, {"1: +160000 -320000", "3: -160000 +320000"}},
                    Gap{10s, 75s, {"1: +160000 -320000", "3: -400000 +80000", "4: +480000"}},
                    Gap{29'600ms, 400ms, {"1: +473600 -6400", "2: +480000"}},
                    Gap{29'600ms, 1s, {"1: +473600 -6400", "2: -9600 +470400"}},
                    Gap{10s, 8h, {"1: +160000 -320000", "961: -160000 +320000"}},
                    Gap{10s, 23h + 5s, {"1: +160000 -320000", "2761: -240000 +240000"}}));

struct Day {
    std::size_t lostAtFirst;  // buffers of 0.4 s, by which chunks end late
    nanoseconds from, to;     // of an interruption
    std::vector<std::string> events;
};

void PrintTo(const Day& day, std::ostream* out) {
    *out << day.lostAtFirst << " buffers lost, interrupted until " << day.to.count();
}

class Days : public Night, public testing::WithParamInterface<Day> {};

TEST_P(Days, EndAfter24HoursWithTheLastChunk) {
    const auto& day = GetParam();
    microphone->loseBuffers(day.lostAtFirst);
    microphone->scheduleInterruption(day.from, day.to);
    start();
    pass(day.to + 60s);
    EXPECT_NE(state(), "stopped");
    pass(60s);
    EXPECT_EQ(heard(), day.events);
    EXPECT_EQ(state(), "stopped(over24hours)");
    EXPECT_EQ(logged().back(), "I | recording | [ST] stopped with error: over24hours");
    EXPECT_THAT(printed(), testing::Contains("Recorder: state stopped with error: over24hours"));
    EXPECT_FALSE(service->firstFrameTime());
    EXPECT_EQ(microphone->engines(), 0U);
    EXPECT_THAT(temporaryFiles(), IsEmpty());
    EXPECT_FALSE(loop->next()) << "nothing is left to do";
}

INSTANTIATE_TEST_SUITE_P(
    , Days,
    testing::Values(
        Day{0,
            30s,
            24h - 60s,
            {"interrupt", "0: +480000", "resume", "1: -480000", "2878: +480000", "2879: +480000",
             "fail over24hours"}},
        Day{1,
            30s,
            24h - 60s,
            {"interrupt", "resume", "0: +473600 -6400", "2877: -473600 +6400", "2878: +480000",
             "2879: +480000", "fail over24hours"}},
        Day{0, 30s, 30h, {"interrupt", "0: +480000", "resume", "1: -480000", "fail over24hours"}}));

TEST_F(Night, NumbersHoldWhenTheAudioClockDrifts) {
    // A night of 26 h whose audio clock is 100 ppm fast: 9 s in the end, less than half a period.
    BootTime end{};
    std::int64_t expected = 0;
    for (int chunk = 0; chunk < 3120; ++chunk) {
        end += nanoseconds(30s) - nanoseconds(30s) / 10'000;
        EXPECT_EQ(chunkSequence(BootTime{}, end), expected++);
    }
}

class Lag : public RecorderScene {
  protected:
    Lag() : RecorderScene(true) {}
};

TEST_F(Lag, WithinTheQueueLosesNothing) {
    for (const auto stall : {100ms, 10'000ms, 35'000ms, 50'000ms}) {
        start();
        pass(20s);
        audio->advance(stall);  // the loop stands still
        loop->runUntilIdle();
        pass(120s - stall - 20s + 1s);
        if (stall < 40s) {
            EXPECT_THAT(heard(), ElementsAre("0: +480000", "1: +480000", "2: +480000", "3: +480000"));
        } else {
            EXPECT_THAT(logged(), testing::Contains(HasSubstr("OVERRUN")));
            EXPECT_THAT(heard(),
                        ElementsAre("0: +480000", "1: +480000", "interrupt", "resume",
                                    testing::MatchesRegex("2: \\+[0-9]+ -10[0-9]+ \\+320001"), "3: +480000"));
        }
        recorder->stop();
        settle();
    }
}

TEST_F(Lag, ChunksFinishedInOneSecondDoNotMix) {
    // The names carry seconds only. Two chunks finish at once, and the next begins, in the second of a lag.
    tone->value = [](std::uint64_t frame) {
        return frame < 30 * 48'000 || frame > 60 * 48'000 ? 0.5F : 0.0F;
    };
    start();
    pass(29s);
    audio->advance(32s);
    loop->runUntilIdle();
    pass(30s);
    const auto chunks = heard();
    ASSERT_EQ(chunks.size(), 3U);
    EXPECT_EQ(chunks[0], "0: +480000");
    EXPECT_THAT(chunks[1], testing::ContainsRegex("^1: \\+[0-9]+ -479[0-9]+$"));  // but for the filter's tail
    EXPECT_THAT(chunks[2], testing::ContainsRegex("^2: (-[0-9]+ )?\\+4[0-9]+$"));
}

TEST_F(Night, FramesThatAreNoNumbersAreDropped) {
    tone->value = [](std::uint64_t frame) {
        return frame == 100'000 ? NAN : frame == 200'000 ? INFINITY : 1.0F;
    };
    start();
    pass(31s);
    EXPECT_THAT(heard(), ElementsAre("0: +480000"));  // two buffers of 0.4 s later than the rest
    EXPECT_THAT(logged(),
                testing::Contains("E | recording | conversion ERROR: a buffer without finite values "
                                  "dropped"));
}

TEST_F(Lag, WhatCompletesAChunkWhenItStopsIsNotLost) {
    start();
    pass(29'600ms);
    audio->advance(400ms);  // the last buffer waits in the queue
    recorder->stop();
    EXPECT_THAT(heard(), ElementsAre("0: +480000"));
}

TEST_F(Lag, AnInterruptionThatIsToldLateBeginsBehindTheFramesThatCameMeanwhile) {
    onInterrupt = [&] { audio->advance(400ms); };  // what comes before the engine pauses is not recorded
    start();
    pass(10s);
    microphone->notify({AudioNotification::InterruptionBegan{}, {}});
    audio->advance(800ms);
    loop->runUntilIdle();
    pass(3'800ms);
    microphone->endInterruption();
    settle();
    pass(16s);
    EXPECT_THAT(heard(), ElementsAre("interrupt", "resume", "0: +172800 -67200 +240000"));
}

}  // namespace
}  // namespace Velmor
