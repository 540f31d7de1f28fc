// The fast road of whole chunks, at every vector width of this processor, against the plain form.

#include "Preprocessor/Fast/ChunkConverter.hpp"
#include "Preprocessor/Fast/ChunkKernels.hpp"
#include "Preprocessor/Fast/NoiseLimits.hpp"
#include "Preprocessor/Plain/Feature.hpp"
#include "Preprocessor/Plain/MelSpectrogram.hpp"
#include "Preprocessor/Plain/velmor_NR.hpp"
#include "TestSignals.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <memory>
#include <vector>

namespace {

using librosa::Feature;
using TestSignals::allKernels;
using velmor::ChunkConverter;
using velmor::ChunkKernels;
using velmor::kGateBins;
using velmor::kGateFrames;
using velmor::Mask;

struct Plain {
    std::vector<float> clean;
    std::vector<float> mel;
    Mask mask;
};

Plain convertPlainly(std::vector<float> signal) {
    const velmor::NoiseReduction reduction;
    const auto noise = reduction.getNoiseFrame(signal);
    Plain plain;
    plain.clean = reduction.reduceNoiseFromSignal(signal, noise);
    const auto levels = Feature::stftDB(signal, 256, 128, "hann", true, "reflect");
    plain.mask = velmor::NoiseReduction::createMask(levels, velmor::NoiseReduction::thresholds(noise));
    plain.mel = velmor::transMel().getVelmorMelspectrogram(plain.clean);
    return plain;
}

Mask maskOf(const ChunkConverter& converter) {
    Mask mask(kGateBins, kGateFrames);
    for (std::size_t b = 0; b < kGateBins; ++b)
        for (std::size_t t = 0; t < kGateFrames; ++t) mask(b, t) = *converter.mask().at(b, t) ? 1 : 0;
    return mask;
}

std::size_t differing(const Mask& a, const Mask& b) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < a.size(); ++i) count += a.cells()[i] != b.cells()[i] ? 1U : 0U;
    return count;
}

TEST(ChunkConverter, PlainFormAndAllWidthsAgree) {
    const auto signal = TestSignals::bedroom();
    const Plain plain = convertPlainly(signal);
    const float top = *std::max_element(plain.mel.begin(), plain.mel.end());
    std::vector<float> first;
    for (const ChunkKernels* kernels : allKernels()) {
        SCOPED_TRACE(kernels->name);
        ChunkConverter converter(*kernels);
        std::vector<float> mel(velmor::kMelCells);
        converter.convert(signal, mel);
        EXPECT_EQ(differing(maskOf(converter), plain.mask), 0U);
        for (std::size_t i = 0; i < mel.size(); ++i)
            ASSERT_NEAR(mel[i], plain.mel[i], std::max(1e-5F * plain.mel[i], 1e-8F * top)) << "cell " << i;

        std::vector<float> clean(velmor::kChunkSamples);
        converter.denoise(signal, clean);
        for (std::size_t i = 0; i < clean.size(); ++i)
            ASSERT_NEAR(clean[i], plain.clean[i], 3e-7F) << "sample " << i;
        std::vector<float> melOfClean(velmor::kMelCells);
        converter.mel(clean, melOfClean);
        EXPECT_EQ(melOfClean, mel) << "in two steps as in one";

        if (first.empty()) first = mel;
        EXPECT_EQ(mel, first) << "not the numbers of the narrowest vectors";
    }
}

// The spectra that a converter sees, put together from its kernel's groups.
velmor::Matrix<std::complex<float>> spectraOf(const ChunkKernels& kernels, const std::vector<float>& signal) {
    std::vector<float> padded(signal.begin() + 1, signal.begin() + 129);
    std::reverse(padded.begin(), padded.end());
    padded.insert(padded.end(), signal.begin(), signal.end());
    padded.resize(padded.size() + 128 + 127);
    padded.push_back(signal.back());
    padded.resize(padded.size() + velmor::kMaxGroup * velmor::kGateHop);
    const auto tables = std::make_unique<velmor::ChunkTables>();
    const auto space = std::make_unique<velmor::KernelSpace>();
    const auto spectra = std::make_unique<velmor::GroupSpectra>();
    velmor::Matrix<std::complex<float>> result(kGateBins, kGateFrames);
    const std::size_t group = velmor::kRounds * kernels.lanes;
    for (std::size_t frame = 0; frame < kGateFrames; ++frame) {
        if (frame % group == 0)
            kernels.analyse(*tables, *space, padded.data() + frame * velmor::kGateHop, *spectra);
        const std::size_t lane = frame % group / velmor::kRounds;
        for (std::size_t b = 0; b < kGateBins; ++b) {
            const float* x =
                spectra->values + (frame % velmor::kRounds * kGateBins + b) * 2 * kernels.lanes + lane;
            constexpr auto kUnscale = static_cast<float>(1.0 / velmor::kSpectrumScale);
            result(b, frame) = {x[0] * kUnscale, x[kernels.lanes] * kUnscale};
        }
    }
    return result;
}

// Noise at `quiet` with a louder stretch in the middle.
std::vector<float> twoLevels(float quiet, float loud) {
    auto signal = TestSignals::noise(480000, quiet, 3);
    const auto stretch = TestSignals::noise(100000, loud, 4);
    std::copy(stretch.begin(), stretch.end(), signal.begin() + 200000);
    return signal;
}

std::vector<float> constant(float level, float noise) {
    auto signal = TestSignals::noise(480000, noise);
    for (float& x : signal) x += level;
    return signal;
}

// Of the same energy everywhere, and no two clips alike.
std::vector<float> squareWave(float amplitude) {
    std::vector<float> signal(480000);
    for (std::size_t i = 0; i < signal.size(); ++i)
        signal[i] = (i / 32 % 2 == 0) == (i % 800 == i / 800) ? amplitude : -amplitude;
    return signal;
}

TEST(ChunkConverter, MaskIsThatOfTheDecibelsCellForCell) {
    const std::vector<std::pair<const char*, std::vector<float>>> recordings = {
        {"bedroom", TestSignals::bedroom()},
        {"noise", TestSignals::noise(480000, 0.1F)},
        {"quiet and loud", twoLevels(1e-4F, 0.5F)},
        {"thresholds about 160 dB below the loudest", twoLevels(1e-8F, 0.9F)},
        {"about the smallest level", twoLevels(1e-21F, 3e-20F)},
        {"levels that differ by a few units in the last place", constant(0.5F, 3e-6F)},
        {"levels that do not differ", constant(0.5F, 0.0F)},
    };
    for (const auto& [name, signal] : recordings)
        for (const ChunkKernels* kernels : allKernels()) {
            SCOPED_TRACE(name);
            ChunkConverter converter(*kernels);
            std::vector<float> mel(velmor::kMelCells);
            converter.convert(signal, mel);

            velmor::Scan scan;
            kernels->scan(signal.data(), scan);
            const auto clip = velmor::findNoiseClip(signal, scan);
            ASSERT_TRUE(clip.found);
            auto noise = std::vector<float>(480000);
            std::copy_n(signal.begin() + static_cast<std::ptrdiff_t>(clip.start), 1600, noise.begin() + 256);
            std::copy_n(noise.begin() + 257, 128, std::reverse_iterator(noise.begin() + 256));
            std::reverse_copy(noise.begin() + 256 + 1600 - 129, noise.begin() + 256 + 1599,
                              noise.begin() + 256 + 1600);
            const auto clipSpectra = spectraOf(*kernels, noise);  // frames 2 to 14 are the clip's
            velmor::Matrix<std::complex<float>> clipFrames(kGateBins, velmor::kClipFrames);
            for (std::size_t b = 0; b < kGateBins; ++b)
                for (std::size_t t = 0; t < velmor::kClipFrames; ++t)
                    clipFrames(b, t) = clipSpectra(b, t + 2);
            const auto noiseDb = Feature::decibels(clipFrames);
            const auto thresholds =
                velmor::NoiseReduction::getThresh(velmor::NoiseReduction::getMeanAxis1(noiseDb),
                                                  velmor::NoiseReduction::getStdAxis1(noiseDb), 1.5F);
            const auto levels = Feature::decibels(spectraOf(*kernels, signal));
            const Mask expected = velmor::NoiseReduction::createMask(levels, thresholds);
            EXPECT_EQ(differing(maskOf(converter), expected), 0U) << kernels->name;
        }
}

TEST(ChunkConverter, InputsThatAreNoRecording) {
    const auto bedroom = TestSignals::bedroom();
    for (const ChunkKernels* kernels : allKernels()) {
        SCOPED_TRACE(kernels->name);
        ChunkConverter converter(*kernels);
        const auto melOf = [&](const std::vector<float>& signal) {
            std::vector<float> mel(velmor::kMelCells);
            converter.convert(signal, mel);
            return mel;
        };
        const auto clean = melOf(bedroom);
        EXPECT_EQ(melOf(std::vector<float>(480000)), std::vector<float>(velmor::kMelCells)) << "silence";
        EXPECT_EQ(melOf(TestSignals::noise(480000, 1e-39F)), std::vector<float>(velmor::kMelCells))
            << "denormals";

        const auto square = squareWave(1.0F);  // too loud for a noise clip, so nothing is taken away
        const auto plain = convertPlainly(square);
        const auto mel = melOf(square);
        for (std::size_t i = 0; i < mel.size(); ++i)
            ASSERT_NEAR(mel[i], plain.mel[i], 1e-5F * plain.mel[i] + 1e-6F) << i;

        auto broken = bedroom;
        broken[240000] = std::numeric_limits<float>::quiet_NaN();
        const auto around = melOf(broken);
        for (std::size_t i = 0; i < around.size(); ++i) {
            const std::size_t frame = i % velmor::kMelFrames;
            if (frame >= 594 && frame <= 606) continue;
            ASSERT_EQ(around[i], clean[i]) << "frame " << frame;
        }
        EXPECT_TRUE(std::isnan(around[600]));
        broken[240000] = std::numeric_limits<float>::infinity();
        EXPECT_FALSE(std::isfinite(melOf(broken)[600]));
        EXPECT_EQ(melOf(bedroom), clean) << "nothing stays behind";
    }
}

TEST(NoiseClip, OfAScanAsOfTheSignal) {
    auto faded = TestSignals::noise(480000, 0.2F);
    for (std::size_t i = 0; i < faded.size(); ++i) faded[i] *= 1.0F - static_cast<float>(i) / 500000.0F;
    std::fill_n(faded.begin() + 479000, 12, 0.0F);
    for (const auto& signal : {TestSignals::bedroom(), faded, squareWave(0.5F), squareWave(1.0F)})
        for (const ChunkKernels* kernels : allKernels()) {
            velmor::Scan scan;
            kernels->scan(signal.data(), scan);
            const auto clip = velmor::findNoiseClip(signal, scan);
            std::vector<float> found(1600);
            if (clip.found)
                std::copy_n(signal.begin() + static_cast<std::ptrdiff_t>(clip.start), 1600, found.begin());
            EXPECT_EQ(found, velmor::NoiseReduction().getNoiseFrame(signal)) << kernels->name;
            EXPECT_EQ(scan.energy[7], velmor::energy(std::span(signal).subspan(5600, 800))) << kernels->name;
        }
}

}  // namespace
