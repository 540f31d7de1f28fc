#pragma once

// Whole chunks at speed: what NoiseReduction and transMel do, in one pass over 480,000 samples that keeps a
// few frames at a time, with several frames in the lanes of a vector. docs/performance.md says where the time
// goes.

#include <cstddef>
#include <memory>
#include <span>

namespace velmor {

struct ChunkKernels;
struct MaskPlane;

/// Owns its work space of about 1 MB; no call allocates. One thread at a time; any number of converters.
class ChunkConverter {
  public:
    /// For the widest vectors that this processor has.
    ChunkConverter();
    /// For the given ones, which this processor must have.
    explicit ChunkConverter(const ChunkKernels& kernels);
    ~ChunkConverter();
    ChunkConverter(ChunkConverter&&) noexcept;
    ChunkConverter& operator=(ChunkConverter&&) noexcept;

    /// 480,000 samples to 20 x 1201 mel powers, bands outermost.
    void convert(std::span<const float> samples, std::span<float> mel);
    /// 480,000 samples to as many without their noise.
    void denoise(std::span<const float> samples, std::span<float> out);
    /// 480,000 samples to 20 x 1201 mel powers, without the noise reduction.
    void mel(std::span<const float> samples, std::span<float> mel);

    /// The mask of the last noise reduction.
    const MaskPlane& mask() const;

  private:
    struct Work;
    void prepare(std::span<const float> samples);
    template <class Sink>
    void reduceNoise(std::span<const float> samples, Sink& sink);

    const ChunkKernels* kernels_;
    std::unique_ptr<Work> work_;
};

}  // namespace velmor
