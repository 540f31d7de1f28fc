// The front: permission, delegate, ownership.
#include "RecorderScene.hpp"

namespace Velmor {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

struct Permission {
    RecordPermission permission;
    std::vector<bool> answers;
    std::vector<std::string> lines;
    std::vector<std::string> told;
    std::vector<bool> answered;
    bool starts;
};

void PrintTo(const Permission& row, std::ostream* out) {
    *out << row.lines.back() << " after " << row.answers.size() << " answers";
}

class Permissions : public RecorderScene, public testing::WithParamInterface<Permission> {};

TEST_P(Permissions, DecideAboutTheStart) {
    microphone->setPermission(GetParam().permission);
    microphone->setPermissionAnswers(GetParam().answers);
    std::vector<bool> answered;
    core->start([&](bool granted) { answered.push_back(granted); });
    settle();
    auto lines = printed();
    lines.resize(std::min(lines.size(), GetParam().lines.size()));
    EXPECT_EQ(lines, GetParam().lines);
    EXPECT_EQ(heard(), GetParam().told);
    EXPECT_EQ(answered, GetParam().answered);
    EXPECT_EQ(microphone->isRunning(), GetParam().starts);
}

const std::string kCheck = "Recorder: check record permission";
const std::string kAsk = "Recorder: undetermined record permission";
const std::string kGranted = "Recorder: granted record permission";
const std::string kDenied = "Recorder: denied record permission";
const std::string kStart = "Recorder: request start";
const std::string kRefused = "Recorder: start request can not working";

INSTANTIATE_TEST_SUITE_P(
    , Permissions,
    testing::Values(
        Permission{RecordPermission::granted, {}, {kCheck, kGranted, kStart}, {}, {true}, true},
        Permission{RecordPermission::denied, {}, {kCheck, kDenied, kRefused}, {"denied"}, {false}, false},
        Permission{
            RecordPermission::undetermined, {true}, {kCheck, kAsk, kGranted, kStart}, {}, {true}, true},
        Permission{RecordPermission::undetermined,
                   {false},
                   {kCheck, kAsk, kDenied, kRefused},
                   {"denied"},
                   {false},
                   false},
        Permission{RecordPermission::undetermined,
                   {false, true},
                   {kCheck, kAsk, kDenied, kRefused},
                   {"denied"},
                   {false},
                   false},
        Permission{RecordPermission::undetermined, {}, {kCheck, kAsk}, {}, {}, false}));

class Front : public RecorderScene {};

TEST_F(Front, AnAnswerAfterTheOwnerIsGoneDoesNothing) {
    microphone->setPermission(RecordPermission::undetermined);
    core->start([](bool) { FAIL(); });
    close();
    settle();
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_FALSE(microphone->isRunning());
}

TEST_F(Front, ThePublicRecorderWorksThroughTheMainLoop) {
    auto recorder = std::make_unique<Recorder>(core);
    const auto permission = recorder->hasPermission();
    EXPECT_FALSE(permission.isReady());
    recorder->startRecording();
    settle();
    EXPECT_TRUE(permission.get());
    EXPECT_TRUE(microphone->isRunning());
    recorder->stopRecording();
    settle();
    EXPECT_THAT(printed(), Contains("Recorder: request stop"));
    EXPECT_EQ(state(), "stopped");

    const auto unanswered = recorder->hasPermission();
    recorder.reset();
    close();
    settle();
    EXPECT_THROW(unanswered.get(), VelmorError);
}

TEST_F(Front, AFormerRecorderDoesNotEndTheObservationOfTheNext) {
    start();
    const auto former = core;
    open();
    start();
    former->stop();
    settle();
    EXPECT_TRUE(microphone->isObserved());
    microphone->beginInterruption();
    settle();
    EXPECT_EQ(state(), "interrupted");
}

}  // namespace
}  // namespace Velmor
