// The whole conversion against numbers computed apart from it: reference/README.md says how.

#include "Preprocessor/ConverterWrapper.hpp"
#include "Preprocessor/Plain/Feature.hpp"
#include "Preprocessor/Plain/MelSpectrogram.hpp"
#include "Preprocessor/Plain/velmor_NR.hpp"
#include "TestSignals.hpp"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Reference {
    std::size_t clip = 0;
    std::vector<double> thresholds;
    std::map<std::size_t, std::string> mask;
    std::map<std::size_t, std::vector<double>> mel;
};

Reference load() {
    std::ifstream in(VELMOR_REFERENCE_DIR "/bedroom.tsv");
    Reference reference;
    for (std::string line, kind; std::getline(in, line);) {
        std::istringstream fields(line);
        std::size_t index = 0;
        double value = 0.0;
        fields >> kind >> index;
        if (kind == "clip") reference.clip = index;
        if (kind == "threshold" && fields >> value) reference.thresholds.push_back(value);
        if (kind == "mask") fields >> reference.mask[index];
        if (kind == "mel")
            while (fields >> value) reference.mel[index].push_back(value);
    }
    return reference;
}

class BedroomReference : public testing::Test {
  protected:
    const Reference reference_ = load();
    std::vector<float> signal_ = TestSignals::bedroom();

    // Within 1e-4 where there is something to hear, within 1e-6 of the loudest cell elsewhere.
    void expectMel(const std::vector<float>& mel) const {
        ASSERT_EQ(mel.size(), velmor::kMelCells);
        const double top = *std::max_element(mel.begin(), mel.end());
        ASSERT_GT(reference_.mel.size(), 70U);
        for (const auto& [frame, bands] : reference_.mel)
            for (std::size_t band = 0; band < bands.size(); ++band)
                EXPECT_NEAR(double{mel[band * velmor::kMelFrames + frame]}, bands[band],
                            std::max(1e-4 * bands[band], 1e-6 * top))
                    << "band " << band << " frame " << frame;
    }
};

TEST_F(BedroomReference, StepByStep) {
    const velmor::NoiseReduction reduction;
    const auto clip = reduction.getNoiseFrame(signal_);
    EXPECT_TRUE(
        std::equal(clip.begin(), clip.end(), signal_.begin() + static_cast<std::ptrdiff_t>(reference_.clip)));
    const auto thresholds = velmor::NoiseReduction::thresholds(clip);
    ASSERT_EQ(thresholds.size(), reference_.thresholds.size());
    for (std::size_t b = 0; b < thresholds.size(); ++b)
        EXPECT_NEAR(thresholds[b], reference_.thresholds[b], 1e-4) << "bin " << b;

    auto lengthened = signal_;
    const auto clean = reduction.reduceNoiseFromSignal(lengthened, clip);
    const auto levels = librosa::Feature::stftDB(lengthened, 256, 128, "hann", true, "reflect");
    const auto mask = velmor::NoiseReduction::createMask(levels, thresholds);
    ASSERT_GT(reference_.mask.size(), 90U);
    for (const auto& [frame, cells] : reference_.mask)
        for (std::size_t b = 0; b < cells.size(); ++b)
            EXPECT_EQ(mask(b, frame), cells[b] == '1') << "bin " << b << " frame " << frame;
    expectMel(velmor::transMel().getVelmorMelspectrogram(clean));
}

TEST_F(BedroomReference, InTwoOperations) {
    const velmor::ConverterWrapper converter;
    EXPECT_FALSE(converter.noiseReduction(std::span(signal_).first(1'599)));
    expectMel(converter.convertMel(converter.noiseReduction(signal_).value()).value());
}

TEST_F(BedroomReference, InOne) {
    std::vector<float> mel(velmor::kMelCells);
    ASSERT_TRUE(velmor::ConverterWrapper().convertChunk(std::span(signal_).first<velmor::kChunkSamples>(),
                                                        std::span(mel).first<velmor::kMelCells>()));
    expectMel(mel);
}

}  // namespace
