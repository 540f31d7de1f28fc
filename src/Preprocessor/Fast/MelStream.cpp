#include "Preprocessor/Fast/MelStream.hpp"

#include "Preprocessor/Assert.hpp"
#include "Preprocessor/Plain/MelSpectrogram.hpp"

#include <algorithm>
#include <cstring>

namespace velmor {

void MelStream::start() {
    dropped_ = 0;
    end_ = 0;
    frame_ = 0;
    finished_ = false;
}

void MelStream::filled(std::size_t frame) {
    const bool first = end_ == 0;
    end_ = position(frame);
    VELMOR_ASSERT(end_ <= kCapacity);
    if (first)
        for (std::size_t i = 0; i < kMelHop; ++i) samples_[i] = samples_[2 * kMelHop - i];
}

void MelStream::finish() {
    VELMOR_ASSERT(end_ > kMelHop && end_ + kMelHop <= kCapacity);
    for (std::size_t i = 0; i < kMelHop; ++i) samples_[end_ + i] = samples_[end_ - 2 - i];
    end_ += kMelHop;
    finished_ = true;
    std::fill(samples_ + end_, samples_ + kCapacity, 0.0F);  // for lanes behind the last frame
}

const float* MelStream::next(std::size_t group) const {
    const bool complete = finished_ ? frame_ < kMelFrames : (group + 1) * kMelHop <= end_;
    return complete ? samples_ : nullptr;
}

void MelStream::drop(std::size_t group) {
    const std::size_t passed = std::min(group * kMelHop, end_);
    std::memmove(samples_, samples_ + passed, (end_ - passed) * sizeof(float));
    if (finished_) std::fill(samples_ + end_ - passed, samples_ + kCapacity, 0.0F);
    dropped_ += passed;
    end_ -= passed;
    frame_ += group;
}

const float* MelStream::segmentOf(std::span<const float> signal, std::size_t frame, std::size_t group) {
    const auto size = static_cast<std::ptrdiff_t>(signal.size());
    const auto length = static_cast<std::ptrdiff_t>((group + 1) * kMelHop);
    const auto start = static_cast<std::ptrdiff_t>(frame * kMelHop) - static_cast<std::ptrdiff_t>(kMelHop);
    if (start >= 0 && start + length <= size) return signal.data() + start;
    for (std::ptrdiff_t i = 0; i < length; ++i) {
        std::ptrdiff_t from = start + i < 0 ? -(start + i) : start + i;
        if (from >= size) from = 2 * (size - 1) - from;
        samples_[i] = from >= 0 ? signal[static_cast<std::size_t>(from)] : 0.0F;
    }
    return samples_;
}

}  // namespace velmor
