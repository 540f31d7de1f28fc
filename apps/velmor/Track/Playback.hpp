// A sound as what a virtual microphone hears.
#pragma once

#include "Sound/SoundSource.hpp"

#include <atomic>
#include <memory>
#include <vector>

#include <Velmor/Testing/VirtualMicrophone.hpp>

namespace VelmorApp {

/// Goes forward through the sound; what is not listened to is read and forgotten.
class Playback : public Velmor::Testing::AudioSource {
  public:
    explicit Playback(std::unique_ptr<SoundSource> sound);

    std::size_t read(std::uint64_t firstFrame, std::span<float> out) override;

    /// Frames gone by so far. Any thread.
    std::uint64_t position() const { return position_; }
    /// Of the whole sound, as far as it is known. Any thread.
    std::optional<std::uint64_t> frames() const { return frames_; }
    /// Only when nobody reads any more.
    std::string failure() const { return sound_->failure(); }

  private:
    bool skipTo(std::uint64_t frame);

    const std::unique_ptr<SoundSource> sound_;
    const std::optional<std::uint64_t> frames_;
    std::atomic<std::uint64_t> position_{0};
    std::vector<float> skipped_;
};

}  // namespace VelmorApp
