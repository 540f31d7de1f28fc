#pragma once

// The kernels of the noise reduction: analysis with the mask, smoothing, synthesis. Part of the kernels; see
// Lanes.hpp.

#include "Preprocessor/Chunk/ChunkKernels.hpp"
#include "Preprocessor/Chunk/Transforms.hpp"

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

void transformRound(const ChunkTables& tables, KernelSpace& space, const F* first, const F* second,
                    float* values) {
    forward(tables.gateForward, tables.gateWindow, first, second, reinterpret_cast<C<F>*>(space.transform),
            [=](std::size_t bin, C<F> x) {
                store(cell(values, bin), x.re);
                store(cell(values, bin) + kLanes, x.im);
            });
}

/// Transforms a group and calls done(round, values) after each round.
template <class Done>
VELMOR_INLINE void transformGroup(const ChunkTables& tables, KernelSpace& space, const float* segment,
                                  GroupSpectra& spectra, const Done& done) {
    constexpr std::size_t kStride = kRounds * kGateHop;
    F* halves[2] = {reinterpret_cast<F*>(space.halfBlocks[0]), reinterpret_cast<F*>(space.halfBlocks[1])};
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

VELMOR_INLINE F powerOf(const float* values, std::size_t bin) {
    const F re = load<F>(cell(values, bin));
    const F im = load<F>(cell(values, bin) + kLanes);
    return re * re + im * im;
}

VELMOR_INLINE bool any(I bits) {
    std::int32_t sum = 0;
    VELMOR_UNROLL
    for (std::size_t lane = 0; lane < kLanes; ++lane) sum |= bits[lane];
    return sum != 0;
}

/// Marks in `marks`, at the round's byte of each lane, the cells below the exact limits.
__attribute__((noinline)) void markExactly(const float* values, const PowerLimits& limits, I byte, I* marks) {
    for (std::size_t bin = 0; bin < kGateBins; ++bin) {
        const float* x = cell(values, bin);
        std::int32_t below[kLanes];
        VELMOR_UNROLL
        for (std::size_t half = 0; half < kLanes; half += kHalf) {
            const D re = __builtin_convertvector(load<H>(x + half), D);
            const D im = __builtin_convertvector(load<H>(x + kLanes + half), D);
            const auto under = re * re + im * im < limits.exact[bin];
            VELMOR_UNROLL
            for (std::size_t lane = 0; lane < kHalf; ++lane)
                below[half + lane] = static_cast<std::int32_t>(under[lane]);
        }
        marks[bin] = (marks[bin] & ~byte) | (load<I>(below) & byte);
    }
}

void analyseAndMask(const ChunkTables& tables, KernelSpace& space, const float* segment,
                    GroupSpectra& spectra, const PowerLimits& limits, MaskPlane& mask, std::size_t frame) {
    I* marks = reinterpret_cast<I*>(space.smoothed);
    for (std::size_t bin = 0; bin < kGateBins; ++bin) marks[bin] = I{};
    transformGroup(tables, space, segment, spectra, [&](std::size_t round, const float* values) {
        const I byte = I{} + static_cast<std::int32_t>(255U << (8 * round));
        I doubtful{};
        for (std::size_t bin = 0; bin < kGateBins; ++bin) {
            const F power = powerOf(values, bin);
            const I surely = power < limits.below[bin];
            doubtful |= surely ^ (power < limits.from[bin]);
            marks[bin] |= surely & byte;
        }
        if (any(doubtful)) markExactly(values, limits, byte, marks);
    });
    for (std::size_t bin = 0; bin < kGateBins; ++bin) store(mask.at(bin, frame), marks[bin]);
}

float peakPower(const ChunkTables& tables, KernelSpace& space, const float* segment, GroupSpectra& spectra) {
    F most{};
    transformGroup(tables, space, segment, spectra, [&](std::size_t, const float* values) {
        for (std::size_t bin = 0; bin < kGateBins; ++bin) {
            const F power = powerOf(values, bin);
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
    B* sums = reinterpret_cast<B*>(space.timeSums) +
              2;  // two rows of nothing before the first bin and behind the last
    sums[-2] = sums[-1] = sums[kGateBins] = sums[kGateBins + 1] = B{};
    for (std::size_t bin = 0; bin < kGateBins; ++bin) {
        const std::uint8_t* row = mask.at(bin, frame);
        B sum = load<B>(row) & 5;
        VELMOR_UNROLL
        for (int d = 1; d <= 4; ++d) {
            const auto weight = static_cast<std::uint8_t>(5 - d);
            sum += (load<B>(row - d) & weight) + (load<B>(row + d) & weight);
        }
        sums[bin] = sum;
    }
    B* smoothed = reinterpret_cast<B*>(space.smoothed);
    for (std::size_t bin = 0; bin < kGateBins; ++bin) {
        const B* s = sums + bin;
        const B inner = s[-1] + s[0] + s[1];
        smoothed[bin] = s[-2] + s[2] + inner + inner + s[0];
    }
}

/// One round's spectra times their gains, into `space.bins`.
VELMOR_INLINE void damp(const ChunkTables& tables, KernelSpace& space, const float* values,
                        std::size_t round) {
    const I* smoothed = reinterpret_cast<const I*>(space.smoothed);
    const int shift = static_cast<int>(8 * round);
    for (std::size_t bin = 0; bin < kGateBins; ++bin) {
        const I kept = 225 - ((smoothed[bin] >> shift) & 255);
        const F gain = __builtin_convertvector(kept, F) * tables.gainStep;
        const float* x = cell(values, bin);
        store(cell(space.bins, bin), load<F>(x) * gain);
        store(cell(space.bins, bin) + kLanes, load<F>(x + kLanes) * gain);
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
        return C<D>{__builtin_convertvector(load<H>(x), D), __builtin_convertvector(load<H>(x + kLanes), D)};
    };
    const auto put = [&](std::size_t i, D sample) {
        sample *= tables.synthesis[i];
        if (i < kGateHop)
            store(overlap.sums + i * kLanes + half,
                  sample + load<D>(overlap.behind + i * overlap.behindStride + half));
        else
            store(overlap.ahead + (i - kGateHop) * overlap.aheadStride + half, sample);
    };
    inverse(tables.gateInverse, reinterpret_cast<C<D>*>(space.inverse), take, [&](std::size_t k, C<D> pair) {
        put(2 * k, pair.re);
        put(2 * k + 1, pair.im);
    });
}

void synthesise(const ChunkTables& tables, KernelSpace& space, const GroupSpectra& spectra,
                const MaskPlane& mask, std::size_t frame, float* out) {
    constexpr std::size_t kStride = kRounds * kGateHop;
    constexpr double kNothing[kLanes] = {};
    F* samples = reinterpret_cast<F*>(space.halfBlocks[0]);
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
            samples[i] = narrow(load<D>(sum), load<D>(sum + kHalf));
        }
        fromLanes(samples, kGateHop, kStride, out + round * kGateHop);
    }
    for (std::size_t i = 0; i < kGateHop; ++i) {
        const double* sum = space.pending + i * kLanes;
        const double* behind = space.carried + i * kCarriedStride + kCarriedFirst - 1;
        samples[i] = narrow(load<D>(sum) + load<D>(behind), load<D>(sum + kHalf) + load<D>(behind + kHalf));
    }
    fromLanes(samples, kGateHop, kStride, out);
}

}  // namespace
}  // namespace velmor
