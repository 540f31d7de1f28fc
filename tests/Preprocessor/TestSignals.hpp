#pragma once

// Chunks for the tests, the same on every machine: made from integers.

#include <vector>

namespace TestSignals {

/// Noise that swells with a breath of four seconds, a tone in some seconds, a click now and then. The signal
/// of make_reference.py.
std::vector<float> bedroom();

/// White noise of the given amplitude.
std::vector<float> noise(std::size_t samples, float amplitude, unsigned seed = 1);

}  // namespace TestSignals
