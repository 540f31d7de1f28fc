#pragma once

// The mel spectrogram of one chunk: 480,000 samples at 16 kHz to 20 bands x 1201 frames.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace velmor {

struct MelParameters {
    std::int32_t sampleRate = 16000;
    std::int32_t nFft = 800;
    std::int32_t hopLength = 400;
    std::string window = "hann";
    bool center = true;
    std::string padMode = "reflect";
    float power = 2.0F;
    std::int32_t nMels = 20;
    std::int32_t fMin = 0;
    std::int32_t fMax = sampleRate / 2;
};

/// The sizes that follow for a chunk of 30 seconds.
inline constexpr std::size_t kChunkSamples = 480000;
inline constexpr std::size_t kMelBands = 20;
inline constexpr std::size_t kMelFrames = 1201;
inline constexpr std::size_t kMelCells = kMelBands * kMelFrames;

class transMel {
  public:
    /// Band-major: cell band x 1201 + frame. Empty unless there are exactly 480,000 samples. Any thread.
    std::vector<float> getVelmorMelspectrogram(std::span<const float> samples) const;

  private:
    const MelParameters parameters_{};
};

}  // namespace velmor
