#pragma once

#include "Preprocessor/Chunk/ChunkKernels.hpp"

#include <array>
#include <cstddef>
#include <span>

namespace velmor {

/// One sample in three: a linear-phase low-pass filter and the choice of every third of its results.
///
/// The filter is a windowed sinc. With frequencies in parts of the rate of the input,
///     h[d] = 2 c sinc(2 c d) I0(beta sqrt(1 - (d / (M + 1))^2)) / I0(beta),   d = -M ... M,
/// divided by the sum of all, where c is the cutoff, M the reach, and Kaiser's beta = 0.1102 (A - 8.7) for an
/// attenuation of A decibels. For 48 kHz in: c = 7390 Hz, A = 111, M = 146. Up to 7 kHz it is flat to 0.08
/// dB; whatever would fold, everything from 8 kHz on, stays below -110 dB.
///
/// Output k is centred on input 3 k - 144 of all inputs since the construction or the last reset, those
/// before the first one being zeros: a delay of 48 outputs, which is 3 ms at 48 kHz.
///
/// Not safe for use from two threads at once.
class Decimator {
  public:
    static constexpr std::size_t kRatio = 3;
    static constexpr std::size_t kDelay = kDecimatorDelay;  ///< in outputs

    explicit Decimator(const ChunkKernels& kernels = chunkKernels());

    /// Takes `in`, whole threes, and writes in.size() / 3 samples to `out`; every division of the same input
    /// into calls gives the same samples to the last bit. Returns whether all of them are finite; they are
    /// not if one of `in` is not, and then the memory holds it until a reset.
    bool process(std::span<const float> in, std::span<float> out);
    /// Forgets what came before.
    void reset();

  private:
    const ChunkKernels& kernels_;
    std::array<float, kDecimatorReach + 1> taps_;  // h[0] ... h[M]
    DecimatorPhases phases_;                       // inputs 3 i, 3 i + 1, 3 i + 2; what is past comes first
};

}  // namespace velmor
