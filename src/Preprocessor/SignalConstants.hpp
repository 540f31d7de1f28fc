#pragma once

// The numbers that the signal chain follows, in its plain form and in its fast one alike. The kernels include
// this, so there is nothing here but constants.

#include <cstddef>
#include <cstdint>

namespace velmor {

// A chunk.
inline constexpr std::int32_t kSampleRate = 16'000;  // Hz
inline constexpr std::size_t kChunkSeconds = 30;
inline constexpr std::size_t kChunkSamples = std::size_t{kSampleRate} * kChunkSeconds;

// The mel spectrogram.
inline constexpr std::size_t kMelFft = 800;
inline constexpr std::size_t kMelHop = 400;
inline constexpr std::size_t kMelBins = kMelFft / 2 + 1;
inline constexpr std::size_t kMelBands = 20;
inline constexpr std::size_t kMelFrames = 1 + kChunkSamples / kMelHop;
inline constexpr std::size_t kMelCells = kMelBands * kMelFrames;

// The noise reduction. A frame of its transform is two half-blocks, and the next frame shares one of them.
inline constexpr std::size_t kGateFft = 256;
inline constexpr std::size_t kGateHop = 128;
inline constexpr std::size_t kGateBins = kGateFft / 2 + 1;
inline constexpr std::size_t kAppendedZeros = 128;  // behind the signal, dropped by the inverse transform
inline constexpr std::size_t kGateFrames = 1 + (kChunkSamples + kAppendedZeros) / kGateHop;
inline constexpr std::int16_t kSmoothingBins = 2;    // on either side of a cell
inline constexpr std::int16_t kSmoothingFrames = 4;  // likewise
inline constexpr float kNoiseDeviations = 1.5F;      // above the mean, of the threshold

// The noise clip, from which the noise reduction learns its thresholds.
inline constexpr std::size_t kClipSamples = 1'600;
inline constexpr std::size_t kClipHop = 800;  // between candidates
inline constexpr std::size_t kClipFrames = 1 + kClipSamples / kGateHop;
inline constexpr double kClipEnergyBar = kClipSamples;  // what a clip's energy must stay below
inline constexpr std::size_t kZeroRun = 10;             // samples of exactly zero that rule a clip out

// Levels, which are half of the decibels.
inline constexpr float kLeastMagnitude = 1e-20F;
inline constexpr float kLevelRange = 80.0F;  // below the highest, where levels are cut off

inline constexpr const char* kWindow = "hann";
inline constexpr const char* kPadMode = "reflect";

}  // namespace velmor
