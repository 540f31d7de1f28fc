// The fixed formats of the recording.
#pragma once

#include <chrono>
#include <cstdint>

namespace Velmor {

constexpr std::uint32_t kInputRate = 48'000;    ///< Hz, mono; what the microphone must deliver
constexpr std::uint32_t kChunkRate = 16'000;    ///< Hz, mono; what chunk files hold
constexpr std::uint32_t kBlockFrames = 19'200;  ///< of input, handled at a time: 0.4 s
constexpr std::int64_t kChunkFrames = 480'000;  ///< of a chunk file
constexpr std::chrono::seconds kChunkPeriod{30};
constexpr std::chrono::hours kLongestRecording{24};
constexpr std::chrono::nanoseconds kChunkFrameTime{62'500};  ///< of one frame of a chunk file

/// Time that frames of input take.
constexpr std::chrono::nanoseconds inputTime(std::uint64_t frames) {
    return std::chrono::nanoseconds{static_cast<std::int64_t>(frames * 62'500 / 3)};
}

}  // namespace Velmor
