// Every third sample: which tones pass, which fold, at every vector width of this processor.

#include "Preprocessor/Chunk/ChunkKernels.hpp"
#include "Preprocessor/Decimator.hpp"
#include "TestSignals.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <span>
#include <vector>

namespace {

using velmor::Decimator;

class DecimatorWidths : public testing::TestWithParam<std::size_t> {
  protected:
    const velmor::ChunkKernels& kernels_ = *TestSignals::allKernels().at(GetParam());

    std::vector<float> decimated(const std::vector<float>& in, std::size_t threes) {
        Decimator decimator(kernels_);
        std::vector<float> out(in.size() / 3);
        for (std::size_t at = 0; at < out.size(); at += threes) {
            const std::size_t count = std::min(threes, out.size() - at);
            EXPECT_TRUE(decimator.process(std::span(in).subspan(3 * at, 3 * count),
                                          std::span(out).subspan(at, count)));
        }
        return out;
    }
};

double tone(double frequency, std::size_t i, double rate) {
    return 0.9 * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i) / rate);
}

// The largest distance of the filtered tone from level times the tone 48 frames before, as a part of its
// level.
double deviation(const std::vector<float>& out, double frequency, double level) {
    double worst = 0;
    for (std::size_t k = 100; k < out.size(); ++k)
        worst = std::max(worst,
                         std::abs(double{out[k]} - level * tone(frequency, k - Decimator::kDelay, 16'000)));
    return worst / 0.9;
}

TEST_P(DecimatorWidths, KeepsTonesInPlaceAndSuppressesWhatWouldFold) {
    constexpr double kTenthOfDecibel = 0.0114;
    constexpr double k100Decibels = 1e-5;
    struct Row {
        double frequency, level, tolerance;
    };
    std::vector<Row> rows{{0.1, 1, 1e-5},           {100, 1, 1e-5},          {1'000, 1, 1e-5},
                          {5'000, 1, 1e-5},         {6'500, 1, 1e-5},        {7'000, 1, kTenthOfDecibel},
                          {8'001, 0, k100Decibels}, {8'030, 0, k100Decibels}};
    for (int hertz = 8'101; hertz < 24'000; hertz += 463)
        rows.push_back({static_cast<double>(hertz), 0, k100Decibels});
    for (const auto& [frequency, level, tolerance] : rows) {
        std::vector<float> in(14'400);
        for (std::size_t i = 0; i < in.size(); ++i) in[i] = static_cast<float>(tone(frequency, i, 48'000));
        EXPECT_LT(deviation(decimated(in, in.size() / 3), frequency, level), tolerance) << frequency << " Hz";
    }
}

TEST_P(DecimatorWidths, GivesTheSameBitsInAnyBlocksAndAtAnyWidth) {
    const auto in = TestSignals::noise(3 * 5'003, 0.7F);
    const velmor::ChunkKernels* all[2];
    velmor::allChunkKernels(all);
    std::vector<float> narrowest(in.size() / 3);
    EXPECT_TRUE(Decimator(*all[0]).process(in, narrowest));
    for (const std::size_t threes : {1U, 2U, 63U, 1'024U, 1'025U, 5'003U})
        EXPECT_EQ(decimated(in, threes), narrowest) << threes;
}

TEST_P(DecimatorWidths, TellsOfValuesThatAreNotFiniteUntilItIsReset) {
    const auto in = TestSignals::noise(3'300, 0.7F);
    const auto good = decimated(in, in.size());
    Decimator decimator(kernels_);
    std::vector<float> out(in.size() / 3);
    for (const float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()})
        for (const std::size_t place : {0U, 1U, 1'500U, 3'299U}) {
            auto spoilt = in;
            spoilt[place] = bad;
            EXPECT_FALSE(decimator.process(spoilt, out)) << bad << " at " << place;
            decimator.reset();
            EXPECT_TRUE(decimator.process(in, out));
            EXPECT_EQ(out, good);
            decimator.reset();
        }
}

INSTANTIATE_TEST_SUITE_P(Processor, DecimatorWidths,
                         testing::Range(std::size_t{0}, TestSignals::allKernels().size()),
                         [](const auto& entry) { return TestSignals::allKernels().at(entry.param)->name; });

}  // namespace
