// Files that fail, conversions that fail, files that somebody else left or took away.
#include "Recorder/RecordingService.hpp"
#include "RecorderScene.hpp"

namespace Velmor {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

using Files = Testing::MemoryFiles;
using Operation = Files::Operation;

class Faults : public RecorderScene {
  protected:
    void from(Operation operation, const char* path,
              PlatformError::Kind kind = PlatformError::Kind::noSpace) {
        files->addFault(
            {.operation = operation, .path = path, .fromThenOn = true, .kind = kind, .keptBytes = 99});
    }
};

TEST_F(Faults, AFullDiskIsReportedOncePerChunkAndWritingGoesOnWhenThereIsSpace) {
    start();
    pass(10s);
    from(Operation::write, "*.pcm");
    pass(5s);
    files->clearFaults();
    pass(25s);
    EXPECT_THAT(heard(), ElementsAre(HasSubstr("fail unknown("), "0: +480000"));
    EXPECT_THAT(state(), HasSubstr("error(unknown("));
}

TEST_F(Faults, AChunkThatCannotBeWrittenAtAllIsDroppedWithALine) {
    start();
    pass(10s);
    from(Operation::write, "*_0.pcm");
    pass(80s);
    EXPECT_THAT(heard(), ElementsAre(HasSubstr("fail unknown("), MatchesRegex("1: \\+480000")));
    EXPECT_THAT(logged(), Contains(HasSubstr("E | recording | write ERROR, chunk dropped: ")));
}

TEST_F(Faults, SilenceThatCannotBeWrittenDropsTheChunkOnly) {
    start();
    pass(10s);
    microphone->beginInterruption();
    pass(5s);
    from(Operation::write, "*.pcm");
    microphone->endInterruption();
    settle();
    files->clearFaults();
    pass(31s);
    EXPECT_THAT(heard(), ElementsAre("interrupt", "resume", "1: +480000"));
    EXPECT_THAT(logged(), Contains(HasSubstr("E | recording | silence ERROR, chunk dropped: ")));
}

TEST_F(Faults, AFolderThatIsClearedCostsAChunkAndALine) {
    start();
    pass(10s);
    files->removeDirectory("/tmp/velmor/");
    pass(81s);
    EXPECT_THAT(heard(), ElementsAre("2: +480000"));
    EXPECT_THAT(logged(), Contains(HasSubstr("E | recording | convert ERROR, chunk dropped: ")));
}

TEST_F(Faults, AFailedConversionDoesNotStopTheRecording) {
    conversionFailures = 1;
    start();
    pass(61s);
    EXPECT_THAT(heard(), ElementsAre("1: +480000"));
    EXPECT_THAT(logged(), Contains("E | recording | convert ERROR, chunk dropped: no spectrum"));
    EXPECT_EQ(temporaryFiles().size(), 2U);
}

TEST_F(Faults, AMelFileThatCannotBeReadStaysAndIsNotSent) {
    start();
    from(Operation::read, "*.mel", PlatformError::Kind::io);
    pass(31s);
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_THAT(temporaryFiles(), Contains(HasSubstr(".mel")));
    EXPECT_THAT(logged(), Contains(HasSubstr("ChunkPublisher: cannot read the mel file")));
}

TEST_F(Faults, WhateverFailsOnceNothingIsSentTwiceOrLeftBehind) {
    const auto night = [&] {
        open();
        start();
        pass(45s);
        microphone->beginInterruption();
        pass(35s);
        microphone->endInterruption();
        pass(41s);
        core->stop();
        settle();
        close();
        settle();
        return heard();
    };
    const auto before = files->operationCount();
    const auto expected = night();
    const auto operations = files->operationCount() - before;
    EXPECT_THAT(expected, ElementsAre("0: +480000", "interrupt", "resume", "1: +240000 -240000",
                                      MatchesRegex("2: -320000 \\+160000"), "3: +480000"));
    // Most operations are block writes that differ in nothing but their place.
    for (std::size_t n = 1; n <= operations; n += n < 40 || n > operations - 40 ? 1 : 31) {
        files->addFault({.nth = n, .keptBytes = 7});
        std::vector<std::string> chunks;
        for (const auto& event : night()) {
            if (event.starts_with("fail") || event == "interrupt" || event == "resume") continue;
            EXPECT_THAT(expected, Contains(MatchesRegex(event.substr(0, 2) + ".*"))) << "operation " << n;
            chunks.push_back(event.substr(0, 2));
        }
        EXPECT_EQ(std::ranges::adjacent_find(chunks, std::greater_equal()), chunks.end())
            << "operation " << n;
        EXPECT_GE(chunks.size(), 2U) << "operation " << n;
        EXPECT_EQ(files->openFiles(), 0U) << "operation " << n;
        EXPECT_EQ(microphone->engines(), 0U) << "operation " << n;
        files->clearFaults();
        for (const auto& name : temporaryFiles()) files->remove("/tmp/velmor/" + name);
    }
}

TEST_F(Faults, WhatADeadProcessLeftIsSweptOnce) {
    for (const char* name : {"chunk-01:02:03:04_0.pcm", "chunk-x.pcm", "result-3:41:07 PM.mel", "other.pcm"})
        files->put(std::string("/tmp/velmor/") + name, "left over");
    start();
    EXPECT_THAT(temporaryFiles(),
                ElementsAre("chunk-14:22:13:20_0.pcm", "chunk-14:22:13:20_1.pcm", "other.pcm"));
    files->put("/tmp/velmor/result-1:00:00 PM.mel", "of another recording");
    core->stop();
    start();
    EXPECT_THAT(temporaryFiles(), Contains("result-1:00:00 PM.mel"));
}

TEST_F(Faults, ChunksReachThePreprocessorAndComeBackAsArrays) {
    core = RecorderCore::make(platform, log, self);
    start();
    pass(31s);
    const auto chunks = heard();
    ASSERT_EQ(chunks.size(), 1U);
    EXPECT_EQ(chunks[0].size(), 2U + 96'157U);
    EXPECT_THAT(chunks[0].substr(0, 200), HasSubstr("'shape': (1, 20, 1201)"));
}

}  // namespace
}  // namespace Velmor
