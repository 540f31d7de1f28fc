#pragma once

// The stretch of the cleaned signal between the two halves of a conversion: half-blocks of 128 samples come
// in, groups of frames of the mel spectrogram go out, and what they have passed is forgotten. It begins and
// ends with the 400 samples by which the signal is mirrored at its ends. So the signal is never stored whole.

#include "Preprocessor/Fast/ChunkKernels.hpp"

#include <cstddef>
#include <span>

namespace velmor {

class MelStream {
  public:
    void start();
    /// Where the half-blocks from `frame` of the noise reduction on are to be written. That of frame 0 is
    /// written, too, and then overwritten; those behind the end have room.
    float* room(std::size_t frame) { return samples_ + position(frame); }
    /// Half-blocks before `frame` are complete.
    void filled(std::size_t frame);
    /// All are.
    void finish();
    /// The half-blocks of 400 samples of the next group of frames, or null if they are not complete.
    const float* next(std::size_t group) const;
    /// The first frame of that group.
    std::size_t frame() const { return frame_; }
    /// Goes on to the group after it.
    void drop(std::size_t group);

    /// The same for a signal that exists whole: in place, or copied where it has to be mirrored.
    const float* segmentOf(std::span<const float> signal, std::size_t frame, std::size_t group);
    /// Room for one group of half-blocks of 128 samples, while there is no stream.
    float* spare() { return samples_; }

  private:
    static constexpr std::size_t kSegment = (kMaxGroup + 1) * kMelHop;
    static constexpr std::size_t kCapacity = kSegment + kMaxGroup * kGateHop + 2 * kMelHop;

    std::size_t position(std::size_t frame) const { return kMelHop + frame * kGateHop - kGateHop - dropped_; }

    alignas(64) float samples_[kCapacity];
    std::size_t dropped_;  // samples forgotten
    std::size_t end_;      // samples complete, without those forgotten
    std::size_t frame_;
    bool finished_;
};

}  // namespace velmor
