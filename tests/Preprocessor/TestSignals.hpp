#pragma once

// Chunks for the tests, the same on every machine: made from integers; and the kernels they go through.

#include "Preprocessor/Chunk/ChunkKernels.hpp"

#include <vector>

namespace TestSignals {

/// Noise that swells with a breath of four seconds, a tone in some seconds, a click now and then. The signal
/// of make_reference.py.
std::vector<float> bedroom();

/// White noise of the given amplitude.
std::vector<float> noise(std::size_t samples, float amplitude, unsigned seed = 1);

/// Of every vector width that this processor has.
std::vector<const velmor::ChunkKernels*> allKernels();

}  // namespace TestSignals
