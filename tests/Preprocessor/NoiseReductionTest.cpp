#include "Preprocessor/Plain/velmor_NR.hpp"
#include "TestSignals.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace {

using velmor::Mask;
using velmor::Matrix;
using velmor::NoiseReduction;

struct ClipCase {
    const char* name;
    std::vector<float> level;         // one for every 800 samples
    std::vector<std::size_t> zeroed;  // first sample of runs of ten zeros
    int clip;                         // in units of 800 samples; -1 = silence
};

TEST(NoiseClip, QuietestThatIsNotAGap) {
    const std::vector<ClipCase> cases = {
        {"quietest", {.5F, .2F, .3F, .1F, .1F, .4F}, {}, 3},
        {"last of equals", {.1F, .1F, .1F, .1F, .1F, .1F}, {}, 4},
        {"gap in the quietest", {.5F, .2F, .3F, .1F, .1F, .4F}, {3 * 800 + 5}, 1},
        {"half a run at the start", {.5F, .2F, .3F, .1F, .1F, .4F}, {3 * 800 - 5}, 3},
        {"leading silence", {0, 0, .5F, .5F, .6F, .7F}, {}, 2},
        {"nothing but silence", {0, 0, 0, 0, 0, 0}, {}, -1},
        {"energy exactly the bar", {1, 1, 1, 1, 1, 1}, {}, -1},
        {"all too loud", {2, 2, 2, 2, 2, 2}, {}, -1},
    };
    for (const ClipCase& c : cases) {
        std::vector<float> signal;
        for (std::size_t at = 0; at < c.level.size() * 800; ++at) {  // no two clips alike
            const bool above = (at % 2 == 1) != (at % 800 == at / 800);
            signal.push_back(above ? c.level[at / 800] : -c.level[at / 800]);
        }
        for (const std::size_t start : c.zeroed)
            std::fill_n(signal.begin() + static_cast<std::ptrdiff_t>(start), 10, 0.0F);
        const auto clip = NoiseReduction().getNoiseFrame(signal);
        std::vector<float> expected(1600);
        if (c.clip >= 0) std::copy_n(signal.begin() + c.clip * 800, 1600, expected.begin());
        EXPECT_EQ(clip, expected) << c.name;
    }
}

TEST(NoiseClip, ZeroRunsOfTen) {
    for (const std::size_t length : {9U, 10U, 11U})
        for (std::size_t start = 0; start + length <= 40; ++start) {
            std::vector<float> x(40, 1.0F);
            std::fill_n(x.begin() + static_cast<std::ptrdiff_t>(start), length, -0.0F);
            EXPECT_EQ(velmor::hasZeroRun(x), length >= 10) << length << " from " << start;
        }
}

TEST(Thresholds, MeanAndPopulationDeviation) {
    const Matrix<float> rows(2, 4, {1, 3, 5, 7, 2, 2, 2, 2});
    const auto mean = NoiseReduction::getMeanAxis1(rows);
    const auto deviation = NoiseReduction::getStdAxis1(rows);
    const auto threshold = NoiseReduction::getThresh(mean, deviation, 1.5F);
    EXPECT_DOUBLE_EQ(threshold[0], 4.0 + 1.5 * std::sqrt(5.0));
    EXPECT_DOUBLE_EQ(threshold[1], 2.0);
    const auto mask = NoiseReduction::createMask(rows, threshold);
    EXPECT_EQ(mask, Mask(2, 4, {1, 1, 1, 1, 0, 0, 0, 0})) << "strictly below";
}

TEST(NoiseReductionDeathTest, BrokenPromisesNameFileAndExpression) {
    const std::vector<double> two(2);
    const std::vector<double> three(3);
    EXPECT_DEATH(NoiseReduction::getThresh(two, three, 1), "velmor_NR.*meanV.size\\(\\) == stdV.size\\(\\)");
    EXPECT_DEATH(NoiseReduction::createMask(Matrix<float>(2, 1), three),
                 "velmor_NR.*signalXLen == threasholdLen");
    EXPECT_DEATH(NoiseReduction::createSmoothingFilter(4, 2), "velmor_NR.*false");
}

TEST(NoiseReduction, LengthsAndTheAppendedZeros) {
    for (const std::size_t length : {1600U, 2047U, 2048U, 16000U}) {
        auto signal = TestSignals::noise(length, 0.1F);
        const NoiseReduction reduction;
        const auto result = reduction.reduceNoiseFromSignal(signal, reduction.getNoiseFrame(signal));
        EXPECT_EQ(result.size(), length / 128 * 128);
        EXPECT_EQ(signal.size(), length + 128);
    }
}

}  // namespace
