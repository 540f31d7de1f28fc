// What a night sounds like, as a stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace VelmorApp {

/// The rate at which microphones deliver, and so the rate of a source that stands in for one.
inline constexpr std::uint32_t kMicrophoneRate = 48'000;

/// One pass over a sound, mono. One thread at a time.
class SoundSource {
  public:
    virtual ~SoundSource() = default;
    /// Fills `out` with the next frames and returns how many; fewer than asked for only at the end.
    virtual std::size_t read(std::span<float> out) = 0;
    /// Frames from start to end, none when that is not known beforehand.
    virtual std::optional<std::uint64_t> frames() const = 0;
    /// Why the sound ended before its end, in one line; empty when all is well.
    virtual std::string failure() const { return {}; }
};

}  // namespace VelmorApp
