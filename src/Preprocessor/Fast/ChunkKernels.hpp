#pragma once

// The inner loops of the chunk conversion, compiled once for each width of vector that a processor may have.
//
// Several frames are worked on at once, one in each lane of a vector, so the transforms need no shuffles. A
// group is 4 x lanes consecutive frames; lane l of its j-th round (j = 0 ... 3) holds frame 4 l + j. A mask
// of one byte a cell then has its frames in the order of time when the four rounds are put into the four
// bytes of each lane, and the half-block that frame 4 l + j shares with frame 4 l + j + 1 is in the same lane
// of the next round.
//
// No kernel fuses a multiplication with an addition and every lane does the same sums in the same order, so
// all widths and all processors give the same numbers to the last bit.

#include "Preprocessor/Fast/ChunkTables.hpp"

#include <cstddef>
#include <cstdint>

namespace velmor {

inline constexpr std::size_t kRounds = 4;
inline constexpr std::size_t kMaxLanes = 8;
inline constexpr std::size_t kMaxGroup = kRounds * kMaxLanes;

/// Powers below which a cell counts as noise, times kPowerScale. `exact` is the border itself; a power in
/// single precision below `below` is surely under it, one from `from` on is surely not.
struct PowerLimits {
    float below[kGateBins];
    float from[kGateBins];
    double exact[kGateBins];
};

/// The mask of a chunk, one byte a cell, 255 where noise. Rows are bins; a margin on either side stays zero.
struct MaskPlane {
    static constexpr std::size_t kMargin = kMaxGroup;
    static constexpr std::size_t kStride = kMargin + (kGateFrames / kMaxGroup + 1) * kMaxGroup + kMargin;
    std::uint8_t cells[kGateBins * kStride];

    std::uint8_t* at(std::size_t bin, std::size_t frame) { return cells + bin * kStride + kMargin + frame; }
    const std::uint8_t* at(std::size_t bin, std::size_t frame) const {
        return cells + bin * kStride + kMargin + frame;
    }
};

/// Spectra of one group: round, bin, then the real and the imaginary parts of all lanes.
struct GroupSpectra {
    float values[kRounds * kGateBins * 2 * kMaxLanes];
};

/// What the kernels scribble on.
struct alignas(64) KernelSpace {
    float halfBlocks[2][kMelHop * kMaxLanes];
    float transform[kMelFft * kMaxLanes];
    double inverse[kGateFft * kMaxLanes / 2];
    float bins[kMelBins * 2 * kMaxLanes];
    std::uint8_t smoothed[kGateBins * kMaxGroup];
    std::uint8_t timeSums[(kGateBins + 4) * kMaxGroup];
    double sums[kGateHop * kMaxLanes];
    double pending[kGateHop * kMaxLanes];   // first halves of the frames of round 0
    double previous[kGateHop * kMaxLanes];  // second halves of the round before
    double carried[kGateHop *
                   (kMaxLanes + 8)];  // second halves of round 3, behind the last one of the group before
};

struct Scan {
    double energy[kClipHalves];  // of each 800 samples, summed as velmor::energy does
    float peak;                  // largest magnitude; not a number if any sample is not
};

inline constexpr std::size_t kDecimatorDelay = 36;                       // in outputs
inline constexpr std::size_t kDecimatorReach = 3 * kDecimatorDelay + 2;  // in inputs, on either side
inline constexpr std::size_t kDecimatorPast = 2 * kDecimatorDelay + 1;   // of each phase
inline constexpr std::size_t kDecimatorBlock = 1024;                     // outputs at a time

/// Inputs of a decimator, every third in one row: kDecimatorPast of earlier blocks, then those of a block.
struct DecimatorPhases {
    float values[3][kDecimatorPast + kDecimatorBlock];
};

struct ChunkKernels {
    const char* name;
    std::size_t lanes;

    /// Energies and peak of 480,000 samples.
    void (*scan)(const float* samples, Scan& scan);
    /// Transforms one group. `segment` has its 4 x lanes + 1 half-blocks of 128 samples, one after the other.
    void (*analyse)(const ChunkTables&, KernelSpace&, const float* segment, GroupSpectra& spectra);
    /// The same, and marks in `mask`, from frame `frame` on, the cells below the limits.
    void (*analyseAndMask)(const ChunkTables&, KernelSpace&, const float* segment, GroupSpectra& spectra,
                           const PowerLimits&, MaskPlane& mask, std::size_t frame);
    /// Transforms one group and returns its largest power, times kPowerScale.
    float (*peakPower)(const ChunkTables&, KernelSpace&, const float* segment, GroupSpectra& spectra);
    /// Damps the spectra of the group from `frame` on by the smoothed mask, transforms them back and adds the
    /// halves that overlap: 4 x lanes half-blocks into `out`. Groups must come one after the other; before
    /// the first one the work space's `carried` must be zero.
    void (*synthesise)(const ChunkTables&, KernelSpace&, const GroupSpectra& spectra, const MaskPlane& mask,
                       std::size_t frame, float* out);
    /// Mel powers of one group. `segment` has its 4 x lanes + 1 half-blocks of 400 samples; of the frames
    /// `count` are wanted, and go to out[band x kMelFrames + frame].
    void (*mel)(const ChunkTables&, KernelSpace&, const float* segment, std::size_t count, float* out);
    /// Filters and takes every third of 3 x count inputs, count at most kDecimatorBlock, to `out`; see
    /// Decimator. Returns whether all results are finite. The caller then moves the phases on by `count`.
    bool (*decimate)(DecimatorPhases&, const float* in, std::size_t count, float* out);
};

/// The widest that this processor has.
const ChunkKernels& chunkKernels();

/// All that this processor has, the narrowest first. Returns how many; `out` must hold two.
std::size_t allChunkKernels(const ChunkKernels* (&out)[2]);

}  // namespace velmor
