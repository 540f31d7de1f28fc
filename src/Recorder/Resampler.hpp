// 48 kHz to 16 kHz for one recording.
#pragma once

#include "Preprocessor/Decimator.hpp"

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace Velmor {

class Resampler {
  public:
    static constexpr std::size_t kRatio = velmor::Decimator::kRatio;  ///< frames in for one frame out

    virtual ~Resampler() = default;
    /// The frames that `in` completes, valid until the next call: of n frames given in all since the last
    /// reset, floor(n / 3) have come out. None when the block holds or makes a value that is not finite; the
    /// block counts as never given then, but for the filter's memory, which is empty afterwards.
    virtual std::optional<std::span<const float>> process(std::span<const float> in) = 0;
    /// Forgets what came before, as after a gap.
    virtual void reset() = 0;
};

/// The filter remembers the end of each block, so that no border is heard, and delays the signal by 2.25 ms:
/// frame k is centred on input frame 3 k - 108, in every recording.
class FilteringResampler final : public Resampler {
  public:
    FilteringResampler();

    std::optional<std::span<const float>> process(std::span<const float> in) override;
    void reset() override;

  private:
    bool convert(std::span<const float> in);

    velmor::Decimator decimator_;
    std::array<float, kRatio> held_{};  // frames that do not make up one yet
    std::size_t heldCount_ = 0;
    std::vector<float> out_;
    std::size_t outCount_ = 0;
};

}  // namespace Velmor
