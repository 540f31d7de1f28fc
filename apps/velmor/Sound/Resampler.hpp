// Sample-rate conversion of a mono stream.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct SpeexResamplerState_;

namespace VelmorApp {

/// Output is in step with input (the filter's delay is taken out), and a stream of n frames becomes exactly
/// floor(n x outRate / inRate). One thread at a time.
class Resampler {
  public:
    /// Throws std::runtime_error when there is no converter between these rates.
    Resampler(std::uint32_t inRate, std::uint32_t outRate);

    /// Appends to `out` what `in` yields.
    void process(std::span<const float> in, std::vector<float>& out);
    /// Appends what is still inside. Nothing may be processed afterwards.
    void finish(std::vector<float>& out);

  private:
    struct Release {
        void operator()(SpeexResamplerState_* state) const;
    };
    void run(std::span<const float> in, std::vector<float>& out);

    std::unique_ptr<SpeexResamplerState_, Release> state_;
    std::uint32_t inRate_;
    std::uint32_t outRate_;
    std::uint64_t consumed_ = 0;
    std::uint64_t produced_ = 0;
};

}  // namespace VelmorApp
