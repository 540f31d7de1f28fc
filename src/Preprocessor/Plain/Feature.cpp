#include "Preprocessor/Plain/Feature.hpp"

#include "Preprocessor/Plain/MelBank.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace librosa {

using velmor::Matrix;

namespace internal {

std::vector<float> hannWindow(std::int32_t nFft) {
    constexpr float kPi = 3.1415927F;
    std::vector<float> window(static_cast<std::size_t>(nFft));
    for (std::size_t k = 0; k < window.size(); ++k)
        window[k] = 0.5F * (1.0F - std::cos(static_cast<float>(k) * 2.0F * kPi / static_cast<float>(nFft)));
    return window;
}

float magnitude(std::complex<float> x) {
    return static_cast<float>(
        std::sqrt(double{x.real()} * double{x.real()} + double{x.imag()} * double{x.imag()}));
}

float level(float magnitude) {
    return 10.0F * std::log10(magnitude < velmor::kLeastMagnitude ? velmor::kLeastMagnitude : magnitude);
}

void cutAndDouble(std::span<float> levels) {
    float top = -std::numeric_limits<float>::infinity();
    for (const float level : levels)
        if (level > top) top = level;
    const float bottom = top - velmor::kLevelRange;
    for (float& level : levels) level = 2.0F * (level < bottom ? bottom : level);
}

}  // namespace internal

Matrix<float> Feature::melspectrogram(std::span<const float> samples, std::int32_t sampleRate,
                                      std::int32_t nFft, std::int32_t hopLength, std::string_view /*window*/,
                                      bool center, std::string_view padMode, float power, std::int32_t nMels,
                                      std::int32_t fMin, std::int32_t fMax) {
    const auto stft = internal::stft(samples, nFft, hopLength, center, padMode);
    const Matrix<float> weights = internal::melWeights(sampleRate, nFft, nMels, fMin, fMax);
    Matrix<float> mel(stft.rows(), weights.rows());
    std::vector<float> spectrum(stft.columns());
    for (std::size_t t = 0; t < stft.rows(); ++t) {
        for (std::size_t j = 0; j < spectrum.size(); ++j)
            spectrum[j] = std::pow(internal::magnitude(stft(t, j)), power);
        for (std::size_t i = 0; i < weights.rows(); ++i) {
            float sum = 0.0F;
            for (std::size_t j = 0; j < spectrum.size(); ++j) sum += weights(i, j) * spectrum[j];
            mel(t, i) = sum;
        }
    }
    return mel;
}

Matrix<std::complex<float>> Feature::stftTranspose(std::span<const float> samples, std::int32_t nFft,
                                                   std::int32_t hopLength, std::string_view /*window*/,
                                                   bool center, std::string_view padMode) {
    return internal::stft(samples, nFft, hopLength, center, padMode).transposed();
}

Matrix<float> Feature::stftDB(std::span<const float> samples, std::int32_t nFft, std::int32_t hopLength,
                              std::string_view window, bool center, std::string_view padMode) {
    return decibels(stftTranspose(samples, nFft, hopLength, window, center, padMode));
}

Matrix<float> Feature::decibels(const Matrix<std::complex<float>>& stft) {
    VELMOR_ASSERT(stft.size() > 0);
    Matrix<float> result(stft.rows(), stft.columns());
    for (std::size_t i = 0; i < stft.size(); ++i)
        result.cells()[i] = internal::level(internal::magnitude(stft.cells()[i]));
    internal::cutAndDouble(result.cells());
    return result;
}

std::vector<double> Feature::getHannWindow(std::int16_t n) {
    std::vector<double> window(static_cast<std::size_t>(n));
    for (std::size_t k = 0; k < window.size(); ++k)
        window[k] =
            0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(n));
    return window;
}

std::vector<double> Feature::hannWindowSumSquare(std::int32_t frames, std::int16_t /*windowLength*/,
                                                 std::int16_t nFft, std::int16_t hop) {
    const auto length = static_cast<std::size_t>(std::ptrdiff_t{nFft} + std::ptrdiff_t{hop} * (frames - 1));
    std::vector<double> squared = getHannWindow(nFft);
    for (double& w : squared) w *= w;
    std::vector<double> sum(length);
    for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) {
        const std::size_t start = i * static_cast<std::size_t>(hop);
        for (std::size_t k = 0; k < squared.size() && start + k < length; ++k) sum[start + k] += squared[k];
    }
    return sum;
}

}  // namespace librosa
