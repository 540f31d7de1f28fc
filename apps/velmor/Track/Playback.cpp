#include "Track/Playback.hpp"

#include <algorithm>
#include <utility>

namespace VelmorApp {
namespace {

constexpr std::size_t kSkipFrames = 19'200;

}  // namespace

Playback::Playback(std::unique_ptr<SoundSource> sound)
    : sound_(std::move(sound)), frames_(sound_->frames()), skipped_(kSkipFrames) {}

std::size_t Playback::read(std::uint64_t firstFrame, std::span<float> out) {
    if (!skipTo(firstFrame)) return 0;
    const std::size_t count = sound_->read(out);
    position_ += count;
    return count;
}

bool Playback::skipTo(std::uint64_t frame) {
    while (position_ < frame) {
        const auto part =
            static_cast<std::size_t>(std::min<std::uint64_t>(frame - position_, skipped_.size()));
        const std::size_t count = sound_->read(std::span(skipped_).first(part));
        position_ += count;
        if (count < part) return false;
    }
    return true;
}

}  // namespace VelmorApp
