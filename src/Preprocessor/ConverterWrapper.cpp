#include "Preprocessor/ConverterWrapper.hpp"

#include "Preprocessor/Chunk/ChunkConverter.hpp"
#include "Preprocessor/velmor_NR.hpp"

#include <utility>

namespace velmor {

ConverterWrapper::ConverterWrapper() = default;
ConverterWrapper::~ConverterWrapper() = default;

template <class Use>
void ConverterWrapper::withConverter(const Use& use) const {
    std::unique_ptr<ChunkConverter> converter;
    {
        const Velmor::Lock lock(idleMutex_);
        if (!idle_.empty()) {
            converter = std::move(idle_.back());
            idle_.pop_back();
        }
    }
    if (!converter) converter = std::make_unique<ChunkConverter>();
    use(*converter);
    const Velmor::Lock lock(idleMutex_);
    idle_.push_back(std::move(converter));
}

std::optional<std::vector<float>> ConverterWrapper::noiseReduction(std::span<const float> samples) const {
    if (samples.size() < static_cast<std::size_t>(NoiseReductionSettings{}.frameLength)) return std::nullopt;
    if (samples.size() == kChunkSamples) {
        std::vector<float> clean(samples.size());
        withConverter([&](ChunkConverter& converter) { converter.denoise(samples, clean); });
        return clean;
    }
    const NoiseReduction reduction;
    const std::vector<float> noise = reduction.getNoiseFrame(samples);
    std::vector<float> signal(samples.begin(), samples.end());
    return reduction.reduceNoiseFromSignal(signal, noise);
}

std::optional<std::vector<float>> ConverterWrapper::convertMel(std::span<const float> samples) const {
    if (samples.size() != kChunkSamples) return transMel().getVelmorMelspectrogram(samples);
    std::vector<float> mel(kMelCells);
    withConverter([&](ChunkConverter& converter) { converter.mel(samples, mel); });
    return mel;
}

std::optional<std::vector<float>> ConverterWrapper::convertChunk(std::span<const float> samples) const {
    if (samples.size() == kChunkSamples) return convertChunk(samples.first<kChunkSamples>());
    const auto clean = noiseReduction(samples);
    return clean ? convertMel(*clean) : std::nullopt;
}

std::vector<float> ConverterWrapper::convertChunk(std::span<const float, kChunkSamples> samples) const {
    std::vector<float> mel(kMelCells);
    withConverter([&](ChunkConverter& converter) { converter.convert(samples, mel); });
    return mel;
}

}  // namespace velmor
