#pragma once

#include "Runtime/ThreadSafety.hpp"

// From samples to samples and from samples to mel: the two operations that Preprocessor joins, and their
// union. Chunks of 480,000 samples take the fast road (ChunkConverter), other lengths the plain one
// (NoiseReduction, transMel).

#include "Preprocessor/MelSpectrogram.hpp"

#include <memory>
#include <optional>
#include <span>
#include <variant>
#include <vector>

namespace velmor {

class ChunkConverter;

/// Calls on any thread, also several at once: each takes a converter of its own, and converters are kept for
/// later.
class ConverterWrapper {
  public:
    ConverterWrapper();
    ~ConverterWrapper();

    /// The samples without their noise; nothing when there are fewer than a noise clip has (1600), or no
    /// memory for it.
    std::optional<std::vector<float>> noiseReduction(std::span<const float> samples) const;

    /// 20 x 1201 values, bands outermost. The list is empty unless there are exactly 480,000 samples; nothing
    /// when there is no memory for it.
    std::optional<std::vector<float>> convertMel(std::span<const float> samples) const;

    /// convertMel of noiseReduction.
    std::optional<std::vector<float>> convertChunk(std::span<const float> samples) const;

    enum class Step { noiseReduction, convertMel };
    /// The same of a chunk, or the step that there is no memory for. A program that calls nothing else of
    /// this does not carry the plain road.
    std::variant<std::vector<float>, Step> convertChunk(std::span<const float, kChunkSamples> samples) const;

  private:
    std::unique_ptr<ChunkConverter> take() const;
    void putBack(std::unique_ptr<ChunkConverter> converter) const noexcept;

    mutable Velmor::Mutex idleMutex_;
    mutable std::vector<std::unique_ptr<ChunkConverter>> idle_ VELMOR_GUARDED_BY(idleMutex_);
};

}  // namespace velmor
