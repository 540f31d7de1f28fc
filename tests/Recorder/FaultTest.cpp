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

}  // namespace
}  // namespace Velmor
