// Files that fail, conversions that fail, files that somebody else left or took away.
#include "Recorder/RecordingService.hpp"
#include "RecorderScene.hpp"

namespace Velmor {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

class Faults : public RecorderScene {
  protected:
    void failWrites(const char* path) {
        files->addFault({.operation = Testing::MemoryFiles::Operation::write,
                         .path = path,
                         .fromThenOn = true,
                         .kind = PlatformError::Kind::noSpace,
                         .keptBytes = 99});
    }
};

TEST_F(Faults, AFullDiskIsReportedOncePerChunkAndWritingGoesOnWhenThereIsSpace) {
    start();
    pass(10s);
    failWrites("*.pcm");
    pass(5s);
    files->clearFaults();
    pass(25s);
    EXPECT_THAT(heard(), ElementsAre(HasSubstr("fail unknown("), "0: +480000"));
    EXPECT_THAT(state(), HasSubstr("error(unknown("));
}

TEST_F(Faults, AChunkThatCannotBeWrittenAtAllIsDroppedWithALine) {
    start();
    pass(10s);
    failWrites("*_0.pcm");
    pass(80s);
    EXPECT_THAT(heard(), ElementsAre(HasSubstr("fail unknown("), MatchesRegex("1: \\+480000")));
    EXPECT_THAT(logged(), Contains(HasSubstr("E | recording | write ERROR, chunk dropped: ")));
}

TEST_F(Faults, SilenceThatCannotBeWrittenDropsTheChunkOnly) {
    start();
    pass(10s);
    microphone->beginInterruption();
    pass(5s);
    failWrites("*.pcm");
    microphone->endInterruption();
    settle();
    files->clearFaults();
    pass(31s);
    EXPECT_THAT(heard(), ElementsAre("interrupt", "resume", "1: +480000"));
    EXPECT_THAT(logged(), Contains(HasSubstr("E | recording | silence ERROR, chunk dropped: ")));
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
