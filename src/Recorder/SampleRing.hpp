// Keeps the samples of a capture queue.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Velmor {

/// Samples by their position in the stream. One thread puts them and another gets them; the queue sees to it
/// that the two never touch the same positions at one time.
class SampleBuffer {
  public:
    virtual ~SampleBuffer() = default;
    virtual void put(std::span<const float> frames, std::uint64_t position) noexcept = 0;
    virtual void get(std::span<float> frames, std::uint64_t position) const noexcept = 0;
};

/// Positions wrap around at the capacity.
class SampleRing final : public SampleBuffer {
  public:
    explicit SampleRing(std::size_t capacity) : frames_(capacity) {}

    void put(std::span<const float> frames, std::uint64_t position) noexcept override;
    void get(std::span<float> frames, std::uint64_t position) const noexcept override;

  private:
    std::vector<float> frames_;
};

}  // namespace Velmor
