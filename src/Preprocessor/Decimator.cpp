#include "Preprocessor/Decimator.hpp"

#include "Preprocessor/Assert.hpp"
#include "Preprocessor/Chunk/FloatMode.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace velmor {
namespace {

constexpr double kCutoff = 7390.0 / 48'000;
constexpr double kAttenuation = 111;  // decibels

// Modified Bessel function of the first kind, order 0: the sum of ((x / 2)^k / k!)^2.
double besselI0(double x) {
    double term = 1;
    double sum = 1;
    for (int k = 1; term > sum * 1e-17; ++k) {
        term *= x / (2 * k) * (x / (2 * k));
        sum += term;
    }
    return sum;
}

std::array<float, kDecimatorReach + 1> lowPass() {
    const double beta = 0.1102 * (kAttenuation - 8.7);
    std::array<double, kDecimatorReach + 1> h{};
    h[0] = 2 * kCutoff * besselI0(beta);
    double sum = h[0];
    for (std::size_t d = 1; d < h.size(); ++d) {
        const auto at = static_cast<double>(d);
        const double place = at / static_cast<double>(h.size());
        h[d] = std::sin(2 * std::numbers::pi * kCutoff * at) / (std::numbers::pi * at) *
               besselI0(beta * std::sqrt(1 - place * place));
        sum += 2 * h[d];
    }
    std::array<float, kDecimatorReach + 1> taps{};
    std::transform(h.begin(), h.end(), taps.begin(),
                   [sum](double value) { return static_cast<float>(value / sum); });
    return taps;
}

}  // namespace

Decimator::Decimator(const ChunkKernels& kernels) : kernels_(kernels), taps_(lowPass()), phases_{} {}

void Decimator::reset() {
    phases_ = {};
}

bool Decimator::process(std::span<const float> in, std::span<float> out) {
    const NoDenormals mode;
    bool finite = true;
    while (!in.empty()) {
        const std::size_t count = std::min(kDecimatorBlock, in.size() / kRatio);
        finite = kernels_.decimate(taps_.data(), phases_, in.data(), count, out.data()) && finite;
        for (float* phase : {phases_.values[0], phases_.values[1], phases_.values[2]})
            std::memmove(phase, phase + count, kDecimatorPast * sizeof(float));
        in = in.subspan(count * kRatio);
        out = out.subspan(count);
    }
    return finite;
}

}  // namespace velmor
