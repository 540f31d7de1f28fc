#pragma once

// The table of the kernels at VELMOR_LANES lanes, with those that are not the noise reduction's; see
// Lanes.hpp.

#include "Preprocessor/Fast/DecimatorKernel.hpp"
#include "Preprocessor/Fast/GateKernels.hpp"

namespace velmor {
namespace {

void scan(const float* samples, Scan& result) {
    constexpr std::size_t kSums = 8;  // as many as velmor::energy has
    const Integers magnitude = Integers{} + 0x7fffffff;
    Integers peak{};  // magnitudes order as integers do, those that are not numbers above infinity
    for (std::size_t h = 0; h < kClipHalves; ++h) {
        const float* x = samples + h * kClipHop;
        Doubles sums[kSums / kHalf] = {};
        for (std::size_t i = 0; i < kClipHop; i += kSums) {
            VELMOR_UNROLL
            for (std::size_t s = 0; s < kSums; s += kHalf) {
                const Doubles d = __builtin_convertvector(load<HalfFloats>(x + i + s), Doubles);
                sums[s / kHalf] += d * d;
            }
        }
        for (std::size_t i = 0; i < kClipHop; i += kLanes) {
            const Integers m = load<Integers>(x + i) & magnitude;
            peak = m > peak ? m : peak;
        }
        double e[kSums];
        __builtin_memcpy(e, sums, sizeof e);
        result.energy[h] = ((e[0] + e[1]) + (e[2] + e[3])) + ((e[4] + e[5]) + (e[6] + e[7]));
    }
    std::int32_t most = 0;
    for (std::size_t lane = 0; lane < kLanes; ++lane) most = peak[lane] > most ? peak[lane] : most;
    __builtin_memcpy(&result.peak, &most, sizeof most);
}

/// The weighted sums of a round's powers, to frames 4 lane + round.
VELMOR_INLINE void putBands(const ChunkTables& tables, const Floats* powers, std::size_t round,
                            std::size_t count, float* out) {
    const float* weight = tables.bandWeight;
    for (std::size_t band = 0; band < kMelBands; ++band) {
        const Floats* power = powers + tables.bandFirst[band];
        Floats even{};
        Floats odd{};
        std::size_t i = 0;
        for (; i + 1 < tables.bandCount[band]; i += 2) {
            even += power[i] * weight[i];
            odd += power[i + 1] * weight[i + 1];
        }
        if (i < tables.bandCount[band]) even += power[i] * weight[i];
        weight += tables.bandCount[band];
        const Floats sum = even + odd;
        for (std::size_t lane = 0; lane < kLanes; ++lane)
            if (kRounds * lane + round < count) out[band * kMelFrames + kRounds * lane + round] = sum[lane];
    }
}

void mel(const ChunkTables& tables, KernelSpace& space, const float* segment, std::size_t count, float* out) {
    constexpr std::size_t kStride = kRounds * kMelHop;
    Floats* halves[2] = {reinterpret_cast<Floats*>(space.halfBlocks[0]),
                         reinterpret_cast<Floats*>(space.halfBlocks[1])};
    Floats* powers = reinterpret_cast<Floats*>(space.bins);
    toLanes(segment, kMelHop, kStride, halves[0]);
    for (std::size_t round = 0; round < kRounds && round < count; ++round) {
        toLanes(segment + (round + 1) * kMelHop, kMelHop, kStride, halves[(round + 1) % 2]);
        forward(tables.melForward, tables.melWindow, halves[round % 2], halves[(round + 1) % 2],
                reinterpret_cast<Complex<Floats>*>(space.transform),
                [=](std::size_t bin, Complex<Floats> x) { powers[bin] = x.re * x.re + x.im * x.im; });
        putBands(tables, powers, round, count, out);
    }
}

constexpr ChunkKernels kernelTable(const char* name) {
    return {name, kLanes, scan, analyse, analyseAndMask, peakPower, synthesise, mel, decimate};
}

}  // namespace
}  // namespace velmor
