#include "Preprocessor/Plain/Feature.hpp"
#include "Preprocessor/Plain/MelBank.hpp"
#include "Preprocessor/Plain/MelSpectrogram.hpp"
#include "TestSignals.hpp"

#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace {

using librosa::Feature;
using librosa::internal::stft;
using testing::Each;
using testing::ElementsAre;
using testing::FloatNear;

TEST(Stft, PaddingModes) {
    // A frame of eight whose window weighs 0 .15 .5 .85 1 .85 .5 .15; the real part of bin 0 is the weighted
    // sum.
    const std::vector<float> x = {1, 2, 4, 8, 16, 32, 64, 128};
    const auto w = librosa::internal::hannWindow(8);
    struct Case {
        const char* mode;
        std::vector<float> first;
        std::vector<float> last;
    };
    const std::vector<Case> cases = {
        {"reflect", {16, 8, 4, 2, 1, 2, 4, 8}, {16, 32, 64, 128, 64, 32, 16, 8}},
        {"symmetric", {8, 4, 2, 1, 1, 2, 4, 8}, {16, 32, 64, 128, 128, 64, 32, 16}},
        {"edge", {1, 1, 1, 1, 1, 2, 4, 8}, {16, 32, 64, 128, 128, 128, 128, 128}},
        {"whatever", {0, 0, 0, 0, 1, 2, 4, 8}, {16, 32, 64, 128, 0, 0, 0, 0}},
    };
    for (const Case& c : cases) {
        const auto spectrum = stft(x, 8, 4, true, c.mode);
        ASSERT_EQ(spectrum.rows(), 3U);
        ASSERT_EQ(spectrum.columns(), 5U);
        const auto sum = [&](const auto& f) {
            return std::inner_product(f.begin(), f.end(), w.begin(), 0.0F);
        };
        EXPECT_NEAR(spectrum(0, 0).real(), sum(c.first), 1e-4F) << c.mode;
        EXPECT_NEAR(spectrum(2, 0).real(), sum(c.last), 1e-4F) << c.mode;
    }
    EXPECT_EQ(stft(x, 8, 4, false, "reflect").rows(), 1U);
    EXPECT_DEATH(stft(std::vector<float>(4), 8, 4, true, "reflect"), "Stft.cpp: Fatal error: inward < n");
}

TEST(Decibels, CutEightyBelowTheLoudestThenDoubled) {
    const velmor::Matrix<std::complex<float>> cells(2, 2, {100.0F, {0.0F, 10.0F}, 1e-3F, 0.0F});
    EXPECT_THAT(Feature::decibels(cells).cells(), ElementsAre(FloatNear(40, 1e-4F), FloatNear(20, 1e-4F),
                                                              FloatNear(-60, 1e-4F), FloatNear(-120, 1e-4F)));
    const velmor::Matrix<std::complex<float>> silence(1, 3);
    EXPECT_THAT(Feature::decibels(silence).cells(), Each(-400.0F));
    const velmor::Matrix<std::complex<float>> broken(1, 2, std::vector<std::complex<float>>{NAN, 1.0F});
    EXPECT_EQ(Feature::decibels(broken)(0, 1), 0.0F) << "a cell that is not a number is no maximum";
    EXPECT_DEATH(Feature::decibels({}), "Feature.cpp: Fatal error: stft.size\\(\\) > 0");
}

TEST(Istft, HopsAQuarterOfAFrameUnlessItIsTold) {
    const velmor::Matrix<std::complex<float>> flat(129, 9, 1.0F);
    EXPECT_EQ(Feature::istft(flat, 0), Feature::istft(flat, 64));
}

TEST(Mel, OfOneWholeChunkWhateverTheNames) {
    const auto x = TestSignals::bedroom();
    const auto mel = velmor::transMel().getVelmorMelspectrogram(x);
    ASSERT_EQ(mel.size(), 24020U);
    const auto named = Feature::melspectrogram(x, 16000, 800, 400, "boxcar", true, "reflect", 2, 20, 0, 8000);
    EXPECT_EQ(named(600, 7), mel[7 * 1201 + 600]);
    for (const std::size_t length : {479'999U, 480'001U})
        EXPECT_TRUE(velmor::transMel().getVelmorMelspectrogram(std::vector<float>(length)).empty());
}

}  // namespace
