// Components of a recording that count samples and carry none: times, numbers and lengths are as ever, what
// comes out is silence, and a night costs next to nothing.
#pragma once

#include "Recorder/CaptureParts.hpp"

#include <utility>

namespace Velmor {

class CountingBuffer final : public SampleBuffer {
  public:
    void put(std::span<const float>, std::uint64_t) noexcept override {}
    void get(std::span<float>, std::uint64_t) const noexcept override {}
};

class CountingResampler final : public Resampler {
  public:
    std::optional<std::span<const float>> process(std::span<const float> in) override {
        held_ += in.size();
        const auto count = held_ / kRatio;
        held_ %= kRatio;
        if (silence_.size() < count) silence_.resize(count);
        return std::span(silence_).first(count);
    }
    void reset() override { held_ = 0; }

  private:
    std::size_t held_ = 0;
    std::vector<float> silence_;
};

inline CaptureParts countingParts(CaptureParts::Convert convert) {
    return {std::move(convert), [] { return std::make_unique<CountingBuffer>(); },
            [] { return std::make_unique<CountingResampler>(); }};
}

}  // namespace Velmor
