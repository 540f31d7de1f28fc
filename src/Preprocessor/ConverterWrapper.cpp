#include "Preprocessor/ConverterWrapper.hpp"

#include "Preprocessor/Chunk/ChunkConverter.hpp"
#include "Preprocessor/velmor_NR.hpp"

#include <new>
#include <utility>

namespace velmor {

ConverterWrapper::ConverterWrapper() = default;
ConverterWrapper::~ConverterWrapper() = default;

std::unique_ptr<ChunkConverter> ConverterWrapper::take() const {
    {
        const Velmor::Lock lock(idleMutex_);
        if (!idle_.empty()) {
            auto converter = std::move(idle_.back());
            idle_.pop_back();
            return converter;
        }
    }
    return std::make_unique<ChunkConverter>();
}

void ConverterWrapper::putBack(std::unique_ptr<ChunkConverter> converter) const noexcept {
    try {
        const Velmor::Lock lock(idleMutex_);
        idle_.push_back(std::move(converter));
    } catch (...) {  // the next call makes another
    }
}

std::optional<std::vector<float>> ConverterWrapper::noiseReduction(std::span<const float> samples) const try {
    if (samples.size() < static_cast<std::size_t>(NoiseReductionSettings{}.frameLength)) return std::nullopt;
    if (samples.size() == kChunkSamples) {
        std::vector<float> clean(samples.size());
        auto converter = take();
        converter->denoise(samples, clean);
        putBack(std::move(converter));
        return clean;
    }
    const NoiseReduction reduction;
    const std::vector<float> noise = reduction.getNoiseFrame(samples);
    std::vector<float> signal(samples.begin(), samples.end());
    return reduction.reduceNoiseFromSignal(signal, noise);
} catch (const std::bad_alloc&) {
    return std::nullopt;
}

std::optional<std::vector<float>> ConverterWrapper::convertMel(std::span<const float> samples) const try {
    if (samples.size() != kChunkSamples) return transMel().getVelmorMelspectrogram(samples);
    std::vector<float> mel(kMelCells);
    auto converter = take();
    converter->mel(samples, mel);
    putBack(std::move(converter));
    return mel;
} catch (const std::bad_alloc&) {
    return std::nullopt;
}

std::optional<std::vector<float>> ConverterWrapper::convertChunk(std::span<const float> samples) const {
    const auto clean = noiseReduction(samples);
    return clean ? convertMel(*clean) : std::nullopt;
}

std::variant<std::vector<float>, ConverterWrapper::Step> ConverterWrapper::convertChunk(
    std::span<const float, kChunkSamples> samples) const {
    auto step = Step::noiseReduction;
    try {
        auto converter = take();
        step = Step::convertMel;
        std::vector<float> mel(kMelCells);
        converter->convert(samples, mel);
        putBack(std::move(converter));
        return mel;
    } catch (const std::bad_alloc&) {
        return step;
    }
}

}  // namespace velmor
