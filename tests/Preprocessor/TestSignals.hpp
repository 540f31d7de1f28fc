#pragma once

// Chunks for the tests, the same on every machine: made from integers; and the kernels they go through.

#include "Preprocessor/Fast/ChunkKernels.hpp"

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace TestSignals {

class Random {  // 24 random bits at a time, signed
  public:
    explicit Random(std::uint64_t seed) : word_(seed) {}
    std::int64_t next() {
        word_ = word_ * 6364136223846793005U + 1442695040888963407U;
        return static_cast<std::int64_t>(word_ >> 40U) - (1 << 23);
    }

  private:
    std::uint64_t word_;
};

inline std::int64_t triangle(std::int64_t i, std::int64_t hertz) {
    return std::abs(i * hertz % 16000 - 8000) - 4000;
}

/// Noise that swells with a breath of four seconds, a tone in some seconds, a click now and then. The signal
/// of make_reference.py.
inline std::vector<float> bedroom() {
    Random random(2024);
    std::vector<float> signal(480000);
    for (std::int64_t i = 0; i < 480000; ++i) {
        const std::int64_t breath = 32000 - std::abs(i % 64000 - 32000);
        const std::int64_t second = i / 16000 % 6;
        const std::int64_t tone = second == 1 ? triangle(i, 440) : second == 4 ? triangle(i, 1000) : 0;
        const std::int64_t click = i % 40000 == 12345 ? std::int64_t{1} << 34 : 0;
        const std::int64_t value =
            random.next() * (40 + breath * breath / 2000000) + tone * (1 << 19) + click;
        signal[static_cast<std::size_t>(i)] = static_cast<float>(static_cast<double>(value) * 0x1p-35);
    }
    return signal;
}

/// White noise of the given amplitude.
inline std::vector<float> noise(std::size_t samples, float amplitude, unsigned seed = 1) {
    Random random(seed);
    std::vector<float> signal(samples);
    for (float& x : signal) x = static_cast<float>(random.next()) * 0x1p-23F * amplitude;
    return signal;
}

/// Of every vector width that this processor has.
inline std::vector<const velmor::ChunkKernels*> allKernels() {
    const velmor::ChunkKernels* found[2];
    std::vector<const velmor::ChunkKernels*> all(velmor::allChunkKernels(found));
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = found[i];
    return all;
}

}  // namespace TestSignals
