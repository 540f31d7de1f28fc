#include "Runtime/DefaultPlatform.hpp"

#include <gtest/gtest.h>

#include <Velmor/Testing.hpp>

namespace Velmor {
namespace {

TEST(DefaultPlatform, FillsWhatIsEmptyAndKeepsWhatIsGiven) {
    Platform given;
    given.clock = std::make_shared<Testing::VirtualClock>();
    given.files = std::make_shared<Testing::MemoryFiles>();
    const auto complete = completePlatform(given);
    EXPECT_EQ(complete->clock, given.clock);
    EXPECT_EQ(complete->files, given.files);
    EXPECT_TRUE(complete->mainLoop && complete->tasks && complete->background && complete->http &&
                complete->audio && complete->device && complete->console && complete->logUrl);
}

}  // namespace
}  // namespace Velmor
