#pragma once

// The inner loop of Decimator at VELMOR_LANES lanes; see Lanes.hpp. Several vectors of consecutive outputs
// are summed at once, so that each tap is fetched once for all of them and no addition waits for the one
// before.

#include "Preprocessor/Fast/ChunkKernels.hpp"
#include "Preprocessor/Fast/DecimatorTaps.hpp"
#include "Preprocessor/Fast/Lanes.hpp"

namespace velmor {
namespace {

constexpr std::size_t kOutputVectors = 8;
constexpr std::size_t kOutputsAtOnce = kOutputVectors * kLanes;
static_assert(kDecimatorBlock % kOutputsAtOnce == 0, "or vectors would reach beyond the rows");

/// Every third of 3 x lanes inputs, from `Phase` on. As 3 and the number of lanes have no common factor, the
/// wanted inputs of the three vectors stand in different lanes: one exchange of lanes puts them in order.
template <std::size_t Phase, std::size_t... L>
VELMOR_INLINE Floats everyThird(Floats first, Floats second, Floats third, std::index_sequence<L...>) {
    const Floats two = __builtin_shufflevector(first, second, (L % 3 == Phase ? L : kLanes + L)...);
    const Floats all =
        __builtin_shufflevector(two, third, ((2 * kLanes + L) % 3 == Phase ? kLanes + L : L)...);
    return __builtin_shufflevector(all, all, (3 * L + Phase) % kLanes...);
}

/// a, b and c get inputs 3 i, 3 i + 1 and 3 i + 2, i < count.
VELMOR_INLINE void sortByPhase(const float* in, std::size_t count, float* a, float* b, float* c) {
    constexpr std::make_index_sequence<kLanes> lanes;
    std::size_t i = 0;
    for (; i + kLanes <= count; i += kLanes) {
        const Floats first = load<Floats>(in + 3 * i);
        const Floats second = load<Floats>(in + 3 * i + kLanes);
        const Floats third = load<Floats>(in + 3 * i + 2 * kLanes);
        store(a + i, everyThird<0>(first, second, third, lanes));
        store(b + i, everyThird<1>(first, second, third, lanes));
        store(c + i, everyThird<2>(first, second, third, lanes));
    }
    for (; i < count; ++i) {
        a[i] = in[3 * i];
        b[i] = in[3 * i + 1];
        c[i] = in[3 * i + 2];
    }
}

/// sums += tap x (the inputs from `later` on + those from `earlier` on), the two being as far from the
/// centre.
VELMOR_INLINE void addPair(Floats (&sums)[kOutputVectors], float tap, const float* later,
                           const float* earlier) {
    VELMOR_UNROLL
    for (std::size_t v = 0; v < kOutputVectors; ++v)
        sums[v] += (load<Floats>(later + v * kLanes) + load<Floats>(earlier + v * kLanes)) * tap;
}

/// Outputs whose centres are from a, b and c on: inputs 3 i, 3 i + 1 and 3 i + 2. The small taps come first,
/// so that little is lost by rounding; the last pair is the centre twice.
VELMOR_INLINE void filter(const float* a, const float* b, const float* c, Floats (&sums)[kOutputVectors]) {
    for (std::size_t i = kDecimatorDelay + 1; i-- > 0;) {
        addPair(sums, kDecimatorTaps[3 * i + 2], c + i, b - i - 1);
        addPair(sums, kDecimatorTaps[3 * i + 1], b + i, c - i - 1);
        addPair(sums, kDecimatorTaps[3 * i], a + i, a - i);
    }
}

bool decimate(DecimatorPhases& phases, const float* in, std::size_t count, float* out) {
    float* a = phases.values[0] + kDecimatorPast;
    float* b = phases.values[1] + kDecimatorPast;
    float* c = phases.values[2] + kDecimatorPast;
    sortByPhase(in, count, a, b, c);
    a -= kDecimatorDelay;
    b -= kDecimatorDelay;
    c -= kDecimatorDelay;
    const Integers magnitudeBits = Integers{} + 0x7fffffff;
    Integers worst{};  // magnitudes order as integers do, those that are not finite above all others
    for (std::size_t k = 0; k < count; k += kOutputsAtOnce) {
        Floats sums[kOutputVectors] = {};
        filter(a + k, b + k, c + k, sums);
        const std::size_t wanted = count - k < kOutputsAtOnce ? count - k : kOutputsAtOnce;
        const std::size_t bytes = wanted * sizeof(float);  // the lanes behind are of inputs yet to come
        __builtin_memset(reinterpret_cast<char*>(sums) + bytes, 0, sizeof sums - bytes);
        __builtin_memcpy(out + k, sums, bytes);
        for (const Floats& sum : sums) {
            const Integers magnitude = load<Integers>(&sum) & magnitudeBits;
            worst = magnitude > worst ? magnitude : worst;
        }
    }
    bool finite = true;
    for (std::size_t lane = 0; lane < kLanes; ++lane) finite = finite && worst[lane] < 0x7f800000;
    return finite;
}

}  // namespace
}  // namespace velmor
