#pragma once

#include "Preprocessor/Fast/ChunkKernels.hpp"

#include <cstddef>
#include <span>

namespace velmor {

/// One sample in three: a linear-phase low-pass filter and the choice of every third of its results.
///
/// The filter is symmetric, of 221 taps that make_decimator_taps.py designs for equal ripples. Up to 7 kHz
/// (at 48 kHz in) it is flat to 0.014 dB; whatever would fold, everything from 8 kHz on, stays below -104 dB.
///
/// Output k is centred on input 3 k - 108 of all inputs since the construction or the last reset, those
/// before the first one being zeros: a delay of 36 outputs, which is 2.25 ms at 48 kHz.
///
/// Not safe for use from two threads at once.
class Decimator {
  public:
    static constexpr std::size_t kRatio = 3;

    explicit Decimator(const ChunkKernels& kernels = chunkKernels());

    /// Takes `in`, whole threes, and writes in.size() / 3 samples to `out`; every division of the same input
    /// into calls gives the same samples to the last bit. Returns whether all of them are finite; they are
    /// not if one of `in` is not, nor are up to 73 that follow, unless a reset comes between.
    bool process(std::span<const float> in, std::span<float> out);
    /// Forgets what came before.
    void reset();

  private:
    const ChunkKernels& kernels_;
    DecimatorPhases phases_;  // inputs 3 i, 3 i + 1, 3 i + 2; what is past comes first
};

}  // namespace velmor
