// The front: permission, delegate, ownership.
#include "RecorderScene.hpp"

namespace Velmor {
namespace {

using testing::Contains;
using testing::IsEmpty;

struct Permission {
    RecordPermission before;
    std::vector<bool> answers;  // that the user would give, one after the other
    std::vector<std::string> lines;
    std::vector<bool> told;  // how the request to start ends
};

void PrintTo(const Permission& row, std::ostream* out) {
    *out << row.lines.back() << " after " << row.answers.size() << " answers";
}

class Permissions : public RecorderScene, public testing::WithParamInterface<Permission> {};

TEST_P(Permissions, DecideAboutTheStart) {
    microphone->setPermission(GetParam().before);
    microphone->setPermissionAnswers(GetParam().answers);
    std::vector<bool> told;
    recorder->start([&](bool granted) { told.push_back(granted); });
    settle();
    auto lines = printed();
    lines.resize(std::min(lines.size(), GetParam().lines.size()));
    EXPECT_EQ(lines, GetParam().lines);
    EXPECT_EQ(told, GetParam().told);
    EXPECT_EQ(heard(),
              told == std::vector{false} ? std::vector<std::string>{"denied"} : std::vector<std::string>{});
    EXPECT_EQ(microphone->isRunning(), told == std::vector{true});
}

using Before = RecordPermission;
const std::string kCheck = "Recorder: check record permission";
const std::string kAsk = "Recorder: undetermined record permission";
const std::string kGranted = "Recorder: granted record permission";
const std::string kDenied = "Recorder: denied record permission";
const std::string kStart = "Recorder: request start";
const std::string kRefused = "Recorder: start request can not working";

INSTANTIATE_TEST_SUITE_P(
    , Permissions,
    testing::Values(Permission{Before::granted, {}, {kCheck, kGranted, kStart}, {true}},
                    Permission{Before::denied, {}, {kCheck, kDenied, kRefused}, {false}},
                    Permission{Before::undetermined, {true}, {kCheck, kAsk, kGranted, kStart}, {true}},
                    Permission{
                        Before::undetermined, {false, true}, {kCheck, kAsk, kDenied, kRefused}, {false}},
                    Permission{Before::undetermined, {}, {kCheck, kAsk}, {}}));

class Front : public RecorderScene {};

TEST_F(Front, AnAnswerAfterTheOwnerIsGoneDoesNothing) {
    microphone->setPermission(RecordPermission::undetermined);
    recorder->start([](bool) { FAIL(); });
    close();
    settle();
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_FALSE(microphone->isRunning());
}

TEST_F(Front, ThePublicRecorderWorksThroughTheMainLoop) {
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
    close();
    settle();
    EXPECT_THROW(unanswered.get(), VelmorError);
}

TEST_F(Front, AFormerRecorderDoesNotEndTheObservationOfTheNext) {
    start();
    const auto former = recorder;
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
