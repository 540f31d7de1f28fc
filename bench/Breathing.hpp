#pragma once

// What the benchmarks convert.

#include "Preprocessor/Plain/MelSpectrogram.hpp"

#include <cmath>
#include <vector>

namespace velmor {

/// One chunk of breathing over a quiet floor.
inline std::vector<float> breathing() {
    std::vector<float> samples(kChunkSamples);
    unsigned word = 1;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        word = word * 1664525U + 1013904223U;
        const float swell = std::sin(static_cast<float>(i) * 1e-4F);
        samples[i] = (0.004F + 0.05F * swell * swell) * (static_cast<float>(word) * 0x1p-31F - 1.0F);
    }
    return samples;
}

}  // namespace velmor
