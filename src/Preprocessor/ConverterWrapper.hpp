#pragma once

// The operations of the signal chain: noise reduction and mel spectrogram in plain form, for any number
// of samples, and both at once in the fast form, for one chunk.

#include "Preprocessor/SignalConstants.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace velmor {

class ChunkConverter;

/// Calls on any thread, also several at once.
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

    /// The same as both in turn, of one chunk, in a thirtieth of the time. False when there is no memory for
    /// the work space. Each call takes a converter of its own, and converters are kept for later.
    bool convertChunk(std::span<const float, kChunkSamples> samples, std::span<float, kMelCells> mel) const;

  private:
    std::unique_ptr<ChunkConverter> take() const;
    void putBack(std::unique_ptr<ChunkConverter> converter) const noexcept;

    mutable Velmor::Mutex idleMutex_;
    mutable std::vector<std::unique_ptr<ChunkConverter>> idle_ VELMOR_GUARDED_BY(idleMutex_);
};

}  // namespace velmor
