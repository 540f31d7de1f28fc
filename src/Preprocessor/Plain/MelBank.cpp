#include "Preprocessor/Plain/MelBank.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

namespace librosa::internal {
namespace {

constexpr float kLogStartMel = 15.000001F;
constexpr float kLogStep = 0.068751775F;  // ln(6.4) / 27
constexpr float kHertzPerMel = 66.666664F;
constexpr std::int32_t kLogStartHertz = 1000;

std::vector<float> evenlySpaced(float first, float last, std::size_t count) {
    const float step = (last - first) / static_cast<float>(count - 1);
    std::vector<float> points(count);
    for (std::size_t i = 0; i < count; ++i) points[i] = first + static_cast<float>(i) * step;
    points.back() = last;
    return points;
}

}  // namespace

float hertzToMel(std::int32_t hertz) {
    const auto f = static_cast<float>(hertz);
    if (hertz >= kLogStartHertz) return std::log(f / 1000.0F) / kLogStep + kLogStartMel;
    return f / kHertzPerMel;
}

float melToHertz(float mel) {
    if (mel > kLogStartMel) return 1000.0F * std::exp(kLogStep * (mel - kLogStartMel));
    return kHertzPerMel * mel;
}

velmor::Matrix<float> melWeights(std::int32_t sampleRate, std::int32_t nFft, std::int32_t nMels,
                                 std::int32_t fMin, std::int32_t fMax) {
    const std::int32_t lastBin = nFft / 2;
    const auto bins = static_cast<std::size_t>(lastBin) + 1;
    const auto bands = static_cast<std::size_t>(nMels);
    std::vector<float> frequency = evenlySpaced(0.0F, static_cast<float>(lastBin), bins);
    for (float& f : frequency) f = f * static_cast<float>(sampleRate) / static_cast<float>(nFft);
    std::vector<float> edge = evenlySpaced(hertzToMel(fMin), hertzToMel(fMax), bands + 2);
    for (float& e : edge) e = melToHertz(e);

    velmor::Matrix<float> weights(bands, bins);
    for (std::size_t i = 0; i < bands; ++i) {
        const float rise = edge[i + 1] - edge[i];
        const float fall = edge[i + 2] - edge[i + 1];
        const float area = 2.0F / (edge[i + 2] - edge[i]);
        for (std::size_t j = 0; j < bins; ++j) {
            const float lower = -(edge[i] - frequency[j]) / rise;
            const float upper = (edge[i + 2] - frequency[j]) / fall;
            weights(i, j) = std::max(0.0F, std::min(lower, upper)) * area;
        }
    }
    return weights;
}

}  // namespace librosa::internal
