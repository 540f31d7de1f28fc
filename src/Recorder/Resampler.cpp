#include "Recorder/Resampler.hpp"

#include "Recorder/AudioConstants.hpp"

#include <algorithm>

namespace Velmor {

static_assert(kInputRate == kChunkRate * Resampler::kRatio);

FilteringResampler::FilteringResampler() : out_(kBlockFrames / kRatio + 1) {}

void FilteringResampler::reset() {
    decimator_.reset();
    heldCount_ = 0;
}

std::optional<std::span<const float>> FilteringResampler::process(std::span<const float> in) {
    outCount_ = 0;
    if (const auto most = in.size() / kRatio + 1; out_.size() < most) out_.resize(most);
    bool finite = true;
    if (heldCount_ > 0) {
        const auto missing = std::min(kRatio - heldCount_, in.size());
        std::copy_n(in.begin(), missing, held_.begin() + static_cast<std::ptrdiff_t>(heldCount_));
        heldCount_ += missing;
        in = in.subspan(missing);
        if (heldCount_ == kRatio) {
            finite = convert(held_);
            heldCount_ = 0;
        }
    }
    const auto whole = in.size() / kRatio * kRatio;
    finite = convert(in.first(whole)) && finite;
    // Either nothing is held here, or all frames are held and none is left.
    std::copy(in.begin() + static_cast<std::ptrdiff_t>(whole), in.end(), held_.begin());
    heldCount_ += in.size() - whole;
    if (!finite) {
        reset();
        return {};
    }
    return std::span(out_).first(outCount_);
}

bool FilteringResampler::convert(std::span<const float> in) {
    const auto out = std::span(out_).subspan(outCount_, in.size() / kRatio);
    outCount_ += out.size();
    return decimator_.process(in, out);
}

}  // namespace Velmor
