#include "Recorder/SampleRing.hpp"

#include <algorithm>

namespace Velmor {

void SampleRing::put(std::span<const float> frames, std::uint64_t position) noexcept {
    const auto start = static_cast<std::size_t>(position % frames_.size());
    const auto first = std::min(frames.size(), frames_.size() - start);
    std::copy_n(frames.begin(), first, frames_.begin() + static_cast<std::ptrdiff_t>(start));
    std::copy(frames.begin() + static_cast<std::ptrdiff_t>(first), frames.end(), frames_.begin());
}

void SampleRing::get(std::span<float> frames, std::uint64_t position) const noexcept {
    const auto start = static_cast<std::size_t>(position % frames_.size());
    const auto first = std::min(frames.size(), frames_.size() - start);
    std::copy_n(frames_.begin() + static_cast<std::ptrdiff_t>(start), first, frames.begin());
    std::copy_n(frames_.begin(), frames.size() - first, frames.begin() + static_cast<std::ptrdiff_t>(first));
}

}  // namespace Velmor
