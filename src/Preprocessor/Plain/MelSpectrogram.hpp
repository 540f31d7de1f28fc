#pragma once

// The mel spectrogram of one chunk in plain form: 480,000 samples at 16 kHz to 20 bands x 1201 frames.

#include "Preprocessor/SignalConstants.hpp"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace velmor {

struct MelParameters {
    std::int32_t sampleRate = kSampleRate;
    std::int32_t nFft = kMelFft;
    std::int32_t hopLength = kMelHop;
    std::string window = kWindow;
    bool center = true;
    std::string padMode = kPadMode;
    float power = 2.0F;
    std::int32_t nMels = kMelBands;
    std::int32_t fMin = 0;
    std::int32_t fMax = sampleRate / 2;
};

class transMel {
  public:
    /// Band-major: cell band x 1201 + frame. Empty unless there are exactly 480,000 samples. Any thread.
    std::vector<float> getVelmorMelspectrogram(std::span<const float> samples) const;

  private:
    const MelParameters parameters_{};
};

}  // namespace velmor
