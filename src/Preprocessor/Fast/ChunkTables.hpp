#pragma once

// What the fast form computes once: windows, twiddle factors, filters.

#include "Preprocessor/SignalConstants.hpp"

#include <cstddef>

namespace velmor {

inline constexpr std::size_t kClipHalves = kChunkSamples / kClipHop;

/// Spectra inside the conversion are larger than those outside by this power of two, so that the squares of
/// the smallest magnitudes that count (1e-20) stay clear of denormal numbers. Multiplying by a power of two
/// rounds nothing.
inline constexpr double kSpectrumScale = 0x1p36;
inline constexpr double kPowerScale = kSpectrumScale * kSpectrumScale;

/// A transform of 2N real numbers goes through N complex ones, N = P x Q: Q columns of P points, twiddle
/// factors, P rows of Q points. Angles of the factors are 2 pi (column x row) / N, those of the step from
/// complex to real 2 pi k / 2N.
template <class Number, std::size_t P, std::size_t Q>
struct TransformTables {
    Number twiddle[Q][P][2];  // cosine and sine
    Number turn[P * Q + 1][2];
};

using GateForwardTables = TransformTables<float, 16, 8>;
using GateInverseTables = TransformTables<double, 8, 16>;
using MelForwardTables = TransformTables<float, 20, 20>;

/// About 30 KB; immutable once built, shared by any number of converters on any threads.
struct ChunkTables {
    ChunkTables();

    /// Hann window times half the spectrum scale; the half belongs to the step from complex to real.
    float gateWindow[kGateFft];
    float melWindow[kMelFft];
    /// Hann window over the sum of squared windows, over the transform's length and the spectrum scale.
    double synthesis[kGateFft];
    GateForwardTables gateForward;
    GateInverseTables gateInverse;
    MelForwardTables melForward;

    /// Gain of a cell for each 225th of its neighbourhood that is no noise. Multiples of it are within half a
    /// unit in the last place of 1 of what the sum of the filter's floats gives.
    float gainStep;

    /// Non-zero weights of the mel bands, over the power scale: band i weighs bandCount[i] bins from
    /// bandFirst[i].
    static constexpr std::size_t kMaxBandWeights = 2 * kMelBins;
    std::size_t bandFirst[kMelBands];
    std::size_t bandCount[kMelBands];
    float bandWeight[kMaxBandWeights];  // one band after the other
};

}  // namespace velmor
