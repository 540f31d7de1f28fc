#pragma once

// The border between noise and signal as powers, so that cells need no logarithm: a cell counts as noise when
// its level in decibels is below the threshold of its bin, and these are the powers for which that holds, to
// the last bit.

#include "Preprocessor/Fast/ChunkKernels.hpp"

#include <span>

namespace velmor {

/// Where in a chunk the noise clip is, or that there is none and silence takes its place.
struct NoiseClip {
    bool found = false;
    std::size_t start = 0;
};

/// NoiseReduction::getNoiseFrame on what a scan found.
NoiseClip findNoiseClip(std::span<const float> chunk, const Scan& scan);

/// Thresholds in decibels of a noise clip's spectra, the first group of a transform of the clip: lane l of
/// round j is frame 4 l + j.
void noiseThresholds(const GroupSpectra& spectra, std::size_t lanes, double (&thresholds)[kGateBins]);

/// Borders for the given thresholds in decibels. Levels are cut off 160 dB below the loudest cell; `topLevel`
/// is that cell's (librosa::internal::level), or less if the cut is known to be below every threshold.
void setLimits(const double (&thresholds)[kGateBins], float topLevel, PowerLimits& limits);

/// The smallest power that is not below the threshold: hypot(re, im)^2, not scaled; 0 when none is below.
double powerLimit(double threshold);

}  // namespace velmor
