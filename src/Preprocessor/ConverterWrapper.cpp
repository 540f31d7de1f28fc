#include "Preprocessor/ConverterWrapper.hpp"

#include "Preprocessor/Fast/ChunkConverter.hpp"
#include "Preprocessor/Plain/MelSpectrogram.hpp"
#include "Preprocessor/Plain/velmor_NR.hpp"

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
    if (samples.size() < kClipSamples) return std::nullopt;
    const NoiseReduction reduction;
    const std::vector<float> noise = reduction.getNoiseFrame(samples);
    std::vector<float> signal(samples.begin(), samples.end());
    return reduction.reduceNoiseFromSignal(signal, noise);
} catch (const std::bad_alloc&) {
    return std::nullopt;
}

std::optional<std::vector<float>> ConverterWrapper::convertMel(std::span<const float> samples) const try {
    return transMel().getVelmorMelspectrogram(samples);
} catch (const std::bad_alloc&) {
    return std::nullopt;
}

bool ConverterWrapper::convertChunk(std::span<const float, kChunkSamples> samples,
                                    std::span<float, kMelCells> mel) const try {
    auto converter = take();
    converter->convert(samples, mel);
    putBack(std::move(converter));
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

}  // namespace velmor
