#include "SleepTrackingManager/UploadBitmap.hpp"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Velmor {
namespace {

using Lines = std::vector<std::string>;

struct UploadBitmapTest : testing::Test {
    void markAll(std::int64_t from, std::int64_t to) {
        for (auto sequence = from; sequence <= to; ++sequence) bitmap.mark(sequence);
    }
    Lines lines;
    UploadBitmap bitmap{[this](const std::string& line) { lines.push_back(line); }};
};

TEST_F(UploadBitmapTest, GapsShowAsZerosInGroupsOfTen) {
    markAll(0, 15);
    markAll(17, 21);
    bitmap.finish();
    EXPECT_EQ(lines, (Lines{"0 1111111111 1111110111 11"}));
}

TEST_F(UploadBitmapTest, FullPageIsWrittenAndTheNextBegins) {
    markAll(0, 118);
    EXPECT_TRUE(lines.empty());
    bitmap.mark(119);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].substr(0, 13), "0 1111111111 ");
    EXPECT_EQ(lines[0].size(), 1U + 12 * 11);
    bitmap.mark(125);
    bitmap.finish();
    EXPECT_EQ(lines.at(1), "120 000001");
}

TEST_F(UploadBitmapTest, EveryFinishStartsAgainAtPageZero) {
    bitmap.finish();
    EXPECT_TRUE(lines.empty()) << "an empty bitmap writes no line";
    markAll(0, 121);
    bitmap.finish();
    bitmap.mark(1);
    bitmap.finish();
    EXPECT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines.back(), "0 01");
}

// Numbers that go back, or below zero, cannot come from one recording; they must not hang the log either.
TEST_F(UploadBitmapTest, UnorderedNumbersEndThePage) {
    markAll(0, 5);
    bitmap.mark(3);
    EXPECT_EQ(lines.size(), 1U);
    bitmap.mark(-1);
    EXPECT_EQ(lines.size(), 2U);
}

}  // namespace
}  // namespace Velmor
