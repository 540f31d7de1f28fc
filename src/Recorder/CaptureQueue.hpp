// The bounded queue between the audio thread and the main loop: one producer, one consumer, no lock, and no
// allocation after construction.
#pragma once

#include "Recorder/SampleRing.hpp"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include <Velmor/Platform/Clock.hpp>

namespace Velmor {

class CaptureQueue {
  public:
    /// 43 s at 48 kHz. A power of two, so that positions wrap by masking.
    static constexpr std::size_t kCapacity = std::size_t{1} << 21;
    /// Buffers that may wait; enough for 43 s of the smallest that sound servers deliver.
    static constexpr std::size_t kMarks = std::size_t{1} << 14;

    /// The samples wrap around at `kCapacity`.
    explicit CaptureQueue(std::unique_ptr<SampleBuffer> samples = std::make_unique<SampleRing>(kCapacity));

    /// Audio thread. `captured` is the time of the last frame. What does not fit is dropped and counted. True
    /// when the consumer has a block to fetch and was not told so since it last asked.
    bool push(std::span<const float> frames, BootTime captured) noexcept;

    struct Block {
        std::size_t frames = 0;  ///< 0: nothing to take
        BootTime begin{};        ///< when the first frame began
        BootTime end{};          ///< when the last frame ended
    };
    /// Main loop, as the following. Moves frames without a gap in time of `gap` or more between them into
    /// `out`, once `atLeast` are waiting.
    Block take(std::span<float> out, std::size_t atLeast, std::chrono::nanoseconds gap);
    /// From here on `push` may say again that there is a block.
    void rearm() noexcept { told_.exchange(false); }  // ordered before the look at what is there
    void clear();
    /// Frames dropped since the last call.
    std::uint64_t takeLost() noexcept { return lost_.exchange(0); }
    /// Capture time of the newest frame, also before it is taken; the minimum when there was none.
    BootTime newest() const noexcept;

  private:
    struct Mark {
        std::uint64_t end = 0;  ///< position behind the buffer's last frame
        BootTime captured{};
    };

    const std::unique_ptr<SampleBuffer> samples_;
    std::vector<Mark> marks_;

    std::uint64_t written_ = 0;                  // producer's
    std::atomic<std::uint64_t> marksWritten_{};  // publishes marks_ and the samples that they cover
    std::atomic<std::uint64_t> marksRead_{};     // gives room back
    std::atomic<std::uint64_t> read_{};          // likewise
    std::atomic<std::uint64_t> lost_{};
    std::atomic<std::int64_t> newest_;  // nanoseconds of boot time
    std::atomic<bool> told_{false};
};

}  // namespace Velmor
