#include "Preprocessor/Plain/MelSpectrogram.hpp"

#include "Preprocessor/Plain/Feature.hpp"

namespace velmor {

std::vector<float> transMel::getVelmorMelspectrogram(std::span<const float> samples) const {
    const MelParameters& p = parameters_;
    if (samples.size() != static_cast<std::size_t>(p.sampleRate) * kChunkSeconds) return {};
    const Matrix<float> bands =
        librosa::Feature::melspectrogram(samples, p.sampleRate, p.nFft, p.hopLength, p.window, p.center,
                                         p.padMode, p.power, p.nMels, p.fMin, p.fMax)
            .transposed();
    return {bands.cells().begin(), bands.cells().end()};
}

}  // namespace velmor
