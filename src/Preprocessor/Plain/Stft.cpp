// The transforms of Feature. The only source that includes Eigen's FFT, which is heavy to compile.

#define EIGEN_MPL2_ONLY
#include "Preprocessor/Plain/Feature.hpp"

#include <algorithm>
#include <unsupported/Eigen/FFT>

namespace librosa {

using velmor::Matrix;

namespace {

enum class Side { left, right };

// Index of the sample that stands `distance` (0 = next to the signal) outside, or n when it is to be zero.
std::size_t paddingSource(std::string_view mode, Side side, std::size_t distance, std::size_t n) {
    std::size_t inward = 0;
    if (mode == "reflect")
        inward = distance + 1;
    else if (mode == "symmetric")
        inward = distance;
    else if (mode != "edge")
        return n;
    VELMOR_ASSERT(inward < n);
    return side == Side::left ? inward : n - 1 - inward;
}

std::vector<float> padded(std::span<const float> samples, std::size_t pad, std::string_view mode) {
    const std::size_t n = samples.size();
    std::vector<float> result(n + 2 * pad);
    std::copy(samples.begin(), samples.end(), result.begin() + static_cast<std::ptrdiff_t>(pad));
    for (std::size_t i = 0; i < pad; ++i) {
        const std::size_t left = paddingSource(mode, Side::left, i, n);
        const std::size_t right = paddingSource(mode, Side::right, i, n);
        if (left < n) result[pad - 1 - i] = samples[left];
        if (right < n) result[pad + n + i] = samples[right];
    }
    return result;
}

}  // namespace

namespace internal {

Matrix<std::complex<float>> stft(std::span<const float> samples, std::int32_t nFft, std::int32_t hopLength,
                                 bool center, std::string_view padMode) {
    const auto size = static_cast<std::size_t>(nFft);
    const auto hop = static_cast<std::size_t>(hopLength);
    const std::vector<float> signal = padded(samples, center ? size / 2 : 0, padMode);
    VELMOR_ASSERT(signal.size() >= size);
    const std::vector<float> window = hannWindow(nFft);
    Matrix<std::complex<float>> result(1 + (signal.size() - size) / hop, size / 2 + 1);
    Eigen::FFT<float> fft;
    fft.SetFlag(Eigen::FFT<float>::HalfSpectrum);
    std::vector<float> frame(size);
    for (std::size_t t = 0; t < result.rows(); ++t) {
        for (std::size_t k = 0; k < size; ++k) frame[k] = signal[t * hop + k] * window[k];
        fft.fwd(result.row(t).data(), frame.data(), nFft);
    }
    return result;
}

}  // namespace internal

std::vector<float> Feature::istft(const Matrix<std::complex<float>>& stft, std::int32_t hopArgument,
                                  std::string_view /*window*/, bool /*center*/,
                                  std::string_view /*padMode*/) {
    using velmor::kAppendedZeros;
    const std::size_t bins = stft.rows();
    const std::size_t frames = stft.columns();
    const auto size = static_cast<std::int16_t>(2 * (bins - 1));
    const auto n = static_cast<std::size_t>(size);
    const auto hop = hopArgument == 0 ? n / 4 : static_cast<std::size_t>(hopArgument);
    const std::vector<double> window = getHannWindow(size);
    std::vector<double> y(n + hop * (frames - 1));
    VELMOR_ASSERT(y.size() >= n + kAppendedZeros);

    Eigen::FFT<double> fft;
    fft.SetFlag(Eigen::FFT<double>::HalfSpectrum);
    std::vector<std::complex<double>> spectrum(bins);
    std::vector<double> frame(n);
    for (std::size_t t = 0; t < frames; ++t) {
        for (std::size_t b = 0; b < bins; ++b) spectrum[b] = std::complex<double>(stft(b, t));
        fft.inv(frame.data(), spectrum.data(), size);
        for (std::size_t k = 0; k < n; ++k) y[t * hop + k] += frame[k] * window[k];
    }
    const std::vector<double> sum =
        hannWindowSumSquare(static_cast<std::int32_t>(frames), size, size, static_cast<std::int16_t>(hop));
    std::vector<float> result(y.size() - n - kAppendedZeros);
    for (std::size_t i = 0; i < result.size(); ++i) {
        const std::size_t k = i + n / 2;
        result[i] = static_cast<float>(sum[k] != 0.0 ? y[k] / sum[k] : y[k]);
    }
    return result;
}

}  // namespace librosa
