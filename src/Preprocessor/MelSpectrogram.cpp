#include "Preprocessor/MelSpectrogram.hpp"

#include "Preprocessor/Feature.hpp"

namespace velmor {

std::vector<float> transMel::getVelmorMelspectrogram(std::span<const float> samples) const {
    constexpr std::size_t kSeconds = 30;
    const MelParameters& p = parameters_;
    if (samples.size() != static_cast<std::size_t>(p.sampleRate) * kSeconds) return {};
    const Matrix<float> bands =
        librosa::Feature::melspectrogram(samples, p.sampleRate, p.nFft, p.hopLength, p.window, p.center,
                                         p.padMode, p.power, p.nMels, p.fMin, p.fMax)
            .transposed();
    return {bands.cells().begin(), bands.cells().end()};
}

}  // namespace velmor
