#include "Runtime/DefaultPlatform.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include <Velmor/Testing.hpp>

namespace Velmor {
namespace {

TEST(DefaultPlatform, TasksThatThrowAreToldToTheConsoleAndTheNextRuns) {
    const auto loop = std::make_shared<Testing::ManualExecutor>(std::make_shared<Testing::VirtualClock>());
    std::vector<std::string> lines;
    Platform given;
    given.mainLoop = given.tasks = given.background = loop;
    given.console = [&](std::string_view line) {
        lines.emplace_back(line);
        throw std::runtime_error("the report fails too");
    };
    const auto platform = completePlatform(given);
    EXPECT_TRUE(platform->clock && platform->http && platform->audio && platform->files && platform->device);
    platform->mainLoop->post([] { throw std::runtime_error("first"); });
    platform->background->postAfter(std::chrono::seconds(1), [] { throw 2; });
    bool ran = false;
    platform->tasks->post([&] { ran = true; });
    loop->advance(std::chrono::seconds(2));
    EXPECT_TRUE(ran);
    EXPECT_THAT(lines, testing::ElementsAre("Task failed: first",
                                            "Task failed: an exception that is not a std::exception"));
}

}  // namespace
}  // namespace Velmor
