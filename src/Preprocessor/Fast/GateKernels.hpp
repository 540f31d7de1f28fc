#pragma once

// The kernels of the noise reduction: analysis with the mask, smoothing, synthesis. Part of the kernels; see
// Lanes.hpp.

#include "Preprocessor/Fast/ChunkKernels.hpp"
#include "Preprocessor/Fast/Transforms.hpp"

namespace velmor {
namespace {

constexpr std::size_t kGroup = kRounds * kLanes;

/// A value of a bin of a round: real parts, then imaginary parts.
VELMOR_INLINE float* cell(float* values, std::size_t bin) {
    return values + bin * 2 * kLanes;
}
VELMOR_INLINE const float* cell(const float* values, std::size_t bin) {
    return values + bin * 2 * kLanes;
}

void transformRound(const ChunkTables& tables, KernelSpace& space, const Floats* first, const Floats* second,
                    float* values) {
    forward(tables.gateForward, tables.gateWindow, first, second,
            reinterpret_cast<Complex<Floats>*>(space.transform), [=](std::size_t bin, Complex<Floats> x) {
                store(cell(values, bin), x.re);
                store(cell(values, bin) + kLanes, x.im);
            });
}

/// Transforms a group and calls done(round, values) after each round.
template <class Done>
VELMOR_INLINE void transformGroup(const ChunkTables& tables, KernelSpace& space, const float* segment,
                                  GroupSpectra& spectra, const Done& done) {
    constexpr std::size_t kStride = kRounds * kGateHop;
    Floats* halves[2] = {reinterpret_cast<Floats*>(space.halfBlocks[0]),
                         reinterpret_cast<Floats*>(space.halfBlocks[1])};
    toLanes(segment, kGateHop, kStride, halves[0]);
    for (std::size_t round = 0; round < kRounds; ++round) {
        toLanes(segment + (round + 1) * kGateHop, kGateHop, kStride, halves[(round + 1) % 2]);
        float* values = spectra.values + round * kGateBins * 2 * kLanes;
        transformRound(tables, space, halves[round % 2], halves[(round + 1) % 2], values);
        done(round, values);
    }
}

void analyse(const ChunkTables& tables, KernelSpace& space, const float* segment, GroupSpectra& spectra) {
    transformGroup(tables, space, segment, spectra, [](std::size_t, const float*) {});
}

VELMOR_INLINE Floats powerOf(const float* values, std::size_t bin) {
    const Floats re = load<Floats>(cell(values, bin));
    const Floats im = load<Floats>(cell(values, bin) + kLanes);
    return re * re + im * im;
}

VELMOR_INLINE bool any(Integers bits) {
    std::int32_t sum = 0;
    VELMOR_UNROLL
    for (std::size_t lane = 0; lane < kLanes; ++lane) sum |= bits[lane];
    return sum != 0;
}

/// Marks in `marks`, at the round's byte of each lane, the cells below the exact limits.
__attribute__((noinline)) void markExactly(const float* values, const PowerLimits& limits, Integers byte,
                                           Integers* marks) {
    for (std::size_t bin = 0; bin < kGateBins; ++bin) {
        const float* x = cell(values, bin);
        std::int32_t below[kLanes];
        VELMOR_UNROLL
        for (std::size_t half = 0; half < kLanes; half += kHalf) {
            const Doubles re = __builtin_convertvector(load<HalfFloats>(x + half), Doubles);
            const Doubles im = __builtin_convertvector(load<HalfFloats>(x + kLanes + half), Doubles);
            const auto under = re * re + im * im < limits.exact[bin];
            VELMOR_UNROLL
            for (std::size_t lane = 0; lane < kHalf; ++lane)
                below[half + lane] = static_cast<std::int32_t>(under[lane]);
        }
        marks[bin] = (marks[bin] & ~byte) | (load<Integers>(below) & byte);
    }
}

void analyseAndMask(const ChunkTables& tables, KernelSpace& space, const float* segment,
                    GroupSpectra& spectra, const PowerLimits& limits, MaskPlane& mask, std::size_t frame) {
    Integers* marks = reinterpret_cast<Integers*>(space.smoothed);
    for (std::size_t bin = 0; bin < kGateBins; ++bin) marks[bin] = Integers{};
    transformGroup(tables, space, segment, spectra, [&](std::size_t round, const float* values) {
        const Integers byte = Integers{} + static_cast<std::int32_t>(255U << (8 * round));
        Integers doubtful{};
        for (std::size_t bin = 0; bin < kGateBins; ++bin) {
            const Floats power = powerOf(values, bin);
            const Integers surely = power < limits.below[bin];
            doubtful |= surely ^ (power < limits.from[bin]);
            marks[bin] |= surely & byte;
        }
        if (any(doubtful)) markExactly(values, limits, byte, marks);
    });
    for (std::size_t bin = 0; bin < kGateBins; ++bin) store(mask.at(bin, frame), marks[bin]);
}

float peakPower(const ChunkTables& tables, KernelSpace& space, const float* segment, GroupSpectra& spectra) {
    Floats most{};
    transformGroup(tables, space, segment, spectra, [&](std::size_t, const float* values) {
        for (std::size_t bin = 0; bin < kGateBins; ++bin) {
            const Floats power = powerOf(values, bin);
            most = power > most ? power : most;
        }
    });
    float result = 0.0F;
    for (std::size_t lane = 0; lane < kLanes; ++lane) result = most[lane] > result ? most[lane] : result;
    return result;
}

/// Correlates the mask with 1 2 3 4 5 4 3 2 1 along the frames and 1 2 3 2 1 along the bins: 225 where all is
/// noise.
void smooth(KernelSpace& space, const MaskPlane& mask, std::size_t frame) {
    Bytes* sums = reinterpret_cast<Bytes*>(space.timeSums) +
                  2;  // two rows of nothing before the first bin and behind the last
    sums[-2] = sums[-1] = sums[kGateBins] = sums[kGateBins + 1] = Bytes{};
    for (std::size_t bin = 0; bin < kGateBins; ++bin) {
        const std::uint8_t* row = mask.at(bin, frame);
        Bytes sum = load<Bytes>(row) & 5;
        VELMOR_UNROLL
        for (int d = 1; d <= 4; ++d) {
            const auto weight = static_cast<std::uint8_t>(5 - d);
            sum += (load<Bytes>(row - d) & weight) + (load<Bytes>(row + d) & weight);
        }
        sums[bin] = sum;
    }
    Bytes* smoothed = reinterpret_cast<Bytes*>(space.smoothed);
    for (std::size_t bin = 0; bin < kGateBins; ++bin) {
        const Bytes* s = sums + bin;
        const Bytes inner = s[-1] + s[0] + s[1];
        smoothed[bin] = s[-2] + s[2] + inner + inner + s[0];
    }
}

/// One round's spectra times their gains, into `space.bins`.
VELMOR_INLINE void damp(const ChunkTables& tables, KernelSpace& space, const float* values,
                        std::size_t round) {
    const Integers* smoothed = reinterpret_cast<const Integers*>(space.smoothed);
    const int shift = static_cast<int>(8 * round);
    for (std::size_t bin = 0; bin < kGateBins; ++bin) {
        const Integers kept = 225 - ((smoothed[bin] >> shift) & 255);
        const Floats gain = __builtin_convertvector(kept, Floats) * tables.gainStep;
        const float* x = cell(values, bin);
        store(cell(space.bins, bin), load<Floats>(x) * gain);
        store(cell(space.bins, bin) + kLanes, load<Floats>(x + kLanes) * gain);
    }
}

/// Rows of `carried` are samples; the column before a group's first frame is the last one of the group
/// before.
constexpr std::size_t kCarriedStride = kLanes + 8;
constexpr std::size_t kCarriedFirst = 8;

/// What becomes of the two halves of the frames of a round: the first halves are added to `behind`, rows of
/// `behindStride` apart, and go to `sums`; the second ones go to `ahead`.
struct Overlap {
    const double* behind;
    std::size_t behindStride;
    double* sums;
    double* ahead;
    std::size_t aheadStride;
};

/// Half of the frames of a round, those from lane `half` on, back to samples.
void resound(const ChunkTables& tables, KernelSpace& space, const Overlap& overlap, std::size_t half) {
    const auto take = [&](std::size_t bin) {
        const float* x = cell(space.bins, bin) + half;
        return Complex<Doubles>{__builtin_convertvector(load<HalfFloats>(x), Doubles),
                                __builtin_convertvector(load<HalfFloats>(x + kLanes), Doubles)};
    };
    const auto put = [&](std::size_t i, Doubles sample) {
        sample *= tables.synthesis[i];
        if (i < kGateHop)
            store(overlap.sums + i * kLanes + half,
                  sample + load<Doubles>(overlap.behind + i * overlap.behindStride + half));
        else
            store(overlap.ahead + (i - kGateHop) * overlap.aheadStride + half, sample);
    };
    inverse(tables.gateInverse, reinterpret_cast<Complex<Doubles>*>(space.inverse), take,
            [&](std::size_t k, Complex<Doubles> pair) {
                put(2 * k, pair.re);
                put(2 * k + 1, pair.im);
            });
}

void synthesise(const ChunkTables& tables, KernelSpace& space, const GroupSpectra& spectra,
                const MaskPlane& mask, std::size_t frame, float* out) {
    constexpr std::size_t kStride = kRounds * kGateHop;
    constexpr double kNothing[kLanes] = {};
    Floats* samples = reinterpret_cast<Floats*>(space.halfBlocks[0]);
    smooth(space, mask, frame);
    for (std::size_t s = 0; s < kGateHop; ++s) {
        double* row = space.carried + s * kCarriedStride;
        row[kCarriedFirst - 1] = row[kCarriedFirst - 1 + kLanes];
    }
    for (std::size_t round = 0; round < kRounds; ++round) {
        const bool last = round + 1 == kRounds;
        const Overlap overlap{round == 0 ? kNothing : space.previous, round == 0 ? 0 : kLanes,
                              round == 0 ? space.pending : space.sums,
                              last ? space.carried + kCarriedFirst : space.previous,
                              last ? kCarriedStride : kLanes};
        damp(tables, space, spectra.values + round * kGateBins * 2 * kLanes, round);
        for (std::size_t half = 0; half < kLanes; half += kHalf) resound(tables, space, overlap, half);
        if (round == 0) continue;  // what lies behind it is only known after the last round
        for (std::size_t i = 0; i < kGateHop; ++i) {
            const double* sum = space.sums + i * kLanes;
            samples[i] = narrow(load<Doubles>(sum), load<Doubles>(sum + kHalf));
        }
        fromLanes(samples, kGateHop, kStride, out + round * kGateHop);
    }
    for (std::size_t i = 0; i < kGateHop; ++i) {
        const double* sum = space.pending + i * kLanes;
        const double* behind = space.carried + i * kCarriedStride + kCarriedFirst - 1;
        samples[i] = narrow(load<Doubles>(sum) + load<Doubles>(behind),
                            load<Doubles>(sum + kHalf) + load<Doubles>(behind + kHalf));
    }
    fromLanes(samples, kGateHop, kStride, out);
}

}  // namespace
}  // namespace velmor
