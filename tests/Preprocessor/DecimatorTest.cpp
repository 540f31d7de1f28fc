// Every third sample: which tones pass, which fold, and the same bits at every vector width of this
// processor.

#include "Preprocessor/Decimator.hpp"
#include "Preprocessor/Fast/ChunkKernels.hpp"
#include "Preprocessor/Fast/DecimatorTaps.hpp"
#include "TestSignals.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <gtest/gtest.h>
#include <iterator>
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

constexpr int kDelay = 108;  // in inputs

double tone(double frequency, std::size_t i) {
    return 0.9 * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i) / 48'000);
}

// The same sums one after the other.
std::vector<float> decimatedPlainly(const std::vector<float>& in) {
    std::vector<float> out;
    const auto input = [&](std::ptrdiff_t i) { return i < 0 ? 0 : in.at(static_cast<std::size_t>(i)); };
    for (std::ptrdiff_t centre = -kDelay; std::ssize(out) < std::ssize(in) / 3; centre += 3) {
        float sum = 0;
        for (auto distance = std::ssize(velmor::kDecimatorTaps); distance-- > 0;)
            sum += velmor::kDecimatorTaps[distance] * (input(centre + distance) + input(centre - distance));
        out.push_back(sum);
    }
    return out;
}

// The largest distance of the filtered tone from level times the tone as it came in 108 frames before, as a
// part of its level.
double deviation(const std::vector<float>& out, double frequency, double level) {
    double worst = 0;
    for (std::size_t k = 100; k < out.size(); ++k)
        worst = std::max(worst, std::abs(double{out[k]} - level * tone(frequency, 3 * k - kDelay)));
    return worst / 0.9;
}

TEST_P(DecimatorWidths, KeepsTonesInPlaceAndSuppressesWhatWouldFold) {
    constexpr double kRipple = 0.0016;  // 0.014 dB
    constexpr double k104Decibels = 6.4e-6;
    struct Row {
        double frequency, level, tolerance;
    };
    std::vector<Row> rows{
        {0.1, 1, kRipple}, {7'000, 1, kRipple}, {8'001, 0, k104Decibels}, {8'030, 0, k104Decibels}};
    for (int hertz = 100; hertz < 7'000; hertz += 331)
        rows.push_back({static_cast<double>(hertz), 1, kRipple});
    for (int hertz = 8'101; hertz < 24'000; hertz += 463)
        rows.push_back({static_cast<double>(hertz), 0, k104Decibels});
    for (const auto& [frequency, level, tolerance] : rows) {
        std::vector<float> in(14'400);
        for (std::size_t i = 0; i < in.size(); ++i) in[i] = static_cast<float>(tone(frequency, i));
        EXPECT_LT(deviation(decimated(in, in.size() / 3), frequency, level), tolerance) << frequency << " Hz";
    }
}

TEST_P(DecimatorWidths, GivesTheBitsOfThePlainSumsInAnyBlocks) {
    const auto in = TestSignals::noise(3 * 5'003, 0.7F);
    const auto plain = decimatedPlainly(in);
    for (const std::size_t threes : {1U, 2U, 63U, 1'024U, 1'025U, 5'003U})
        EXPECT_EQ(decimated(in, threes), plain) << threes;
}

TEST_P(DecimatorWidths, TellsOfValuesThatAreNotFiniteUntilItIsReset) {
    const auto in = TestSignals::noise(3'300, 0.7F);
    const auto good = decimated(in, in.size());
    Decimator decimator(kernels_);
    std::vector<float> out(in.size() / 3);
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (const float bad : {std::numeric_limits<float>::quiet_NaN(), kInfinity, -kInfinity}) {
        for (const std::size_t place : {0U, 1U, 1'500U, 3'299U}) {
            auto spoilt = in;
            spoilt[place] = bad;
            EXPECT_FALSE(decimator.process(spoilt, out)) << bad << " at " << place;
            decimator.reset();
            EXPECT_TRUE(decimator.process(in, out));
            EXPECT_EQ(out, good);
            decimator.reset();
        }
        for (std::size_t count = 1; count <= 130;
             ++count) {  // wherever in a group of vectors the last one is
            std::vector<float> quiet(3 * count);
            quiet.back() = bad;
            EXPECT_FALSE(decimator.process(quiet, std::span(out).first(count))) << bad << " after " << count;
            decimator.reset();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Processor, DecimatorWidths,
                         testing::Range(std::size_t{0}, TestSignals::allKernels().size()),
                         [](const auto& entry) { return TestSignals::allKernels().at(entry.param)->name; });

}  // namespace
