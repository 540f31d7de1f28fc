#include "Sound/Resampler.hpp"

#include <algorithm>
#include <speex/speex_resampler.h>
#include <stdexcept>
#include <string>

namespace VelmorApp {
namespace {

constexpr int kQuality = 8;

}  // namespace

void Resampler::Release::operator()(SpeexResamplerState_* state) const {
    speex_resampler_destroy(state);
}

Resampler::Resampler(std::uint32_t inRate, std::uint32_t outRate) : inRate_(inRate), outRate_(outRate) {
    if (inRate == outRate) return;
    int error = 0;
    state_.reset(speex_resampler_init(1, inRate, outRate, kQuality, &error));
    if (!state_)
        throw std::runtime_error("cannot be converted from " + std::to_string(inRate) + " to " +
                                 std::to_string(outRate) + " Hz");
    speex_resampler_skip_zeros(state_.get());
}

void Resampler::process(std::span<const float> in, std::vector<float>& out) {
    consumed_ += in.size();
    if (state_)
        run(in, out);
    else
        out.insert(out.end(), in.begin(), in.end());
}

void Resampler::finish(std::vector<float>& out) {
    if (!state_) return;
    const std::uint64_t owed = consumed_ * outRate_ / inRate_;
    const std::vector<float> silence(4096);
    while (produced_ < owed) run(silence, out);
    out.resize(out.size() - static_cast<std::size_t>(produced_ - owed));
    produced_ = owed;
}

void Resampler::run(std::span<const float> in, std::vector<float>& out) {
    while (!in.empty()) {
        const std::size_t before = out.size();
        out.resize(before + in.size() * outRate_ / inRate_ + 64);
        auto taken = static_cast<spx_uint32_t>(in.size());
        auto made = static_cast<spx_uint32_t>(out.size() - before);
        speex_resampler_process_float(state_.get(), 0, in.data(), &taken, out.data() + before, &made);
        out.resize(before + made);
        produced_ += made;
        in = in.subspan(taken);
    }
}

}  // namespace VelmorApp
