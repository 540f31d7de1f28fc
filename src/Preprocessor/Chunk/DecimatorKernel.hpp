#pragma once

// The inner loop of Decimator at VELMOR_LANES lanes; see Lanes.hpp. Several vectors of consecutive outputs
// are summed at once, so that each tap is fetched once for all of them and no addition waits for the one
// before.

#include "Preprocessor/Chunk/ChunkKernels.hpp"
#include "Preprocessor/Chunk/Lanes.hpp"

namespace velmor {
namespace {

constexpr std::size_t kOutputVectors = 4;
constexpr std::size_t kOutputsAtOnce = kOutputVectors * kLanes;

/// sums += tap x (the inputs from `later` on + those from `earlier` on), the two being as far from the
/// centre.
VELMOR_INLINE void addPair(F (&sums)[kOutputVectors], float tap, const float* later, const float* earlier) {
    VELMOR_UNROLL
    for (std::size_t v = 0; v < kOutputVectors; ++v)
        sums[v] += (load<F>(later + v * kLanes) + load<F>(earlier + v * kLanes)) * tap;
}

/// Outputs whose centres are from a, b and c on: inputs 3 i, 3 i + 1 and 3 i + 2. The small taps come first.
VELMOR_INLINE void filter(const float* taps, const float* a, const float* b, const float* c,
                          F (&sums)[kOutputVectors]) {
    for (std::size_t i = kDecimatorDelay; i > 0; --i) {
        addPair(sums, taps[3 * i + 2], c + i, b - i - 1);
        addPair(sums, taps[3 * i + 1], b + i, c - i - 1);
        addPair(sums, taps[3 * i], a + i, a - i);
    }
    addPair(sums, taps[2], c, b - 1);
    addPair(sums, taps[1], b, c - 1);
    VELMOR_UNROLL
    for (std::size_t v = 0; v < kOutputVectors; ++v) sums[v] += load<F>(a + v * kLanes) * taps[0];
}

bool decimate(const float* taps, DecimatorPhases& phases, const float* in, std::size_t count, float* out) {
    float* a = phases.values[0] + kDecimatorPast;
    float* b = phases.values[1] + kDecimatorPast;
    float* c = phases.values[2] + kDecimatorPast;
    for (std::size_t i = 0; i < count; ++i) {
        a[i] = in[3 * i];
        b[i] = in[3 * i + 1];
        c[i] = in[3 * i + 2];
    }
    a -= kDecimatorDelay;
    b -= kDecimatorDelay;
    c -= kDecimatorDelay;
    const I magnitudeBits = I{} + 0x7fffffff;
    I worst{};  // magnitudes order as integers do, those that are not finite above all others
    for (std::size_t k = 0; k < count; k += kOutputsAtOnce) {
        F sums[kOutputVectors] = {};
        filter(taps, a + k, b + k, c + k, sums);
        const std::size_t rest = count - k;
        for (std::size_t v = 0; v < kOutputVectors && v * kLanes < rest; ++v) {
            I magnitude;
            if (rest - v * kLanes < kLanes) {  // the last lanes are of inputs that have not come yet
                float ready[kLanes] = {};
                for (std::size_t lane = 0; lane < rest - v * kLanes; ++lane) ready[lane] = sums[v][lane];
                sums[v] = load<F>(ready);
                __builtin_memcpy(out + k + v * kLanes, ready, (rest - v * kLanes) * sizeof(float));
            } else {
                store(out + k + v * kLanes, sums[v]);
            }
            __builtin_memcpy(&magnitude, &sums[v], sizeof magnitude);
            magnitude &= magnitudeBits;
            worst = magnitude > worst ? magnitude : worst;
        }
    }
    bool finite = true;
    for (std::size_t lane = 0; lane < kLanes; ++lane) finite = finite && worst[lane] < 0x7f800000;
    return finite;
}

}  // namespace
}  // namespace velmor
