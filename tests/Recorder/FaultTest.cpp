// Files that fail, conversions that fail, files that somebody else left or took away.
#include "Recorder/RecordingService.hpp"
#include "RecorderScene.hpp"

namespace Velmor {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

class Faults : public RecorderScene {};

TEST_F(Faults, WhatCannotBeWrittenIsToldOnceForAChunkAndWhatFollowsIsWhole) {
    struct Row {
        const char* path;  // cannot be written any more
        bool interrupted;  // before that, so that silence is what is written
        bool lasts;
        std::vector<std::string> told;
        std::string dropped;
    };
    const std::vector<Row> rows{
        {"*.pcm", false, false, {"fail unknown", "0: +480000", "1: +480000"}, ""},
        {"*_0.pcm", false, true, {"fail unknown", "1: +480000"}, "write ERROR, chunk dropped: "},
        {"*.pcm", true, false, {"interrupt", "resume", "1: +480000"}, "silence ERROR, chunk dropped: "}};
    for (const auto& [path, interrupted, lasts, expected, dropped] : rows) {
        SCOPED_TRACE(dropped);
        start();
        pass(10s);
        if (interrupted) microphone->beginInterruption();
        pass(interrupted ? 5s : 1s);
        files->addFault({.operation = Testing::MemoryFiles::Operation::write,
                         .path = path,
                         .fromThenOn = true,
                         .kind = PlatformError::Kind::noSpace,
                         .keptBytes = 99});
        if (interrupted) microphone->endInterruption();
        pass(interrupted ? 0s : 4s);
        if (!lasts) files->clearFaults();
        pass(59s);
        auto told = heard();
        for (auto& event : told) event = event.substr(0, event.find('('));
        EXPECT_EQ(told, expected);
        EXPECT_EQ(state().starts_with("error(unknown("), !interrupted);
        EXPECT_THAT(logged(), Contains(HasSubstr((dropped.empty() ? "" : "E | recording | ") + dropped)));
        recorder->stop();
        files->clearFaults();
    }
}

TEST_F(Faults, AMelFileThatFailsCostsAtMostItsChunkAndIsLogged) {
    using Operation = Testing::MemoryFiles::Operation;
    const std::vector<std::tuple<Operation, std::vector<std::string>, std::string>> rows{
        {Operation::open, {}, "cannot open the mel file, chunk dropped: "},
        {Operation::read, {}, "cannot read the mel file, chunk dropped: "},
        {Operation::remove, {"0: +480000"}, "cannot remove the mel file: "}};
    for (const auto& [operation, told, line] : rows) {
        start();
        pass(10s);
        files->addFault({.operation = operation, .path = "*.mel"});
        pass(21s);
        EXPECT_EQ(heard(), told) << line;
        EXPECT_THAT(logged(), Contains(HasSubstr("E | recording | ChunkPublisher: " + line)));
        recorder->stop();
    }
}

TEST_F(Faults, WhatADeadProcessLeftIsSweptOnce) {
    for (const char* name : {"chunk-01:02:03:04_0.pcm", "chunk-x.pcm", "result-3:41:07 PM.mel", "other.pcm"})
        files->put(std::string("/tmp/velmor/") + name, "left over");
    start();
    EXPECT_THAT(temporaryFiles(),
                ElementsAre("chunk-14:22:13:20_0.pcm", "chunk-14:22:13:20_1.pcm", "other.pcm"));
    files->put("/tmp/velmor/result-1:00:00 PM.mel", "of another recording");
    recorder->stop();
    start();
    EXPECT_THAT(temporaryFiles(), Contains("result-1:00:00 PM.mel"));
}

}  // namespace
}  // namespace Velmor
