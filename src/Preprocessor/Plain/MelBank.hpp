#pragma once

// The triangular mel filters (Slaney's scale, Slaney's area normalisation), in single precision throughout.

#include "Preprocessor/Plain/Matrix.hpp"

#include <cstdint>

namespace librosa::internal {

/// Linear below 1000 Hz, logarithmic from there on. Whether a frequency is above is decided on the whole
/// number.
float hertzToMel(std::int32_t hertz);
/// The inverse of hertzToMel.
float melToHertz(float mel);

/// Weights, nMels x (nFft / 2 + 1): row i rises from edge i to edge i + 1 and falls to edge i + 2, where the
/// nMels + 2 edges are evenly spaced in mel from fMin to fMax; each row is scaled by 2 / (its width in Hz).
velmor::Matrix<float> melWeights(std::int32_t sampleRate, std::int32_t nFft, std::int32_t nMels,
                                 std::int32_t fMin, std::int32_t fMax);

}  // namespace librosa::internal
