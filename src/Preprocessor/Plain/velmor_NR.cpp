#include "Preprocessor/Plain/velmor_NR.hpp"

#include "Preprocessor/Plain/Feature.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace velmor {

using librosa::Feature;

namespace {

double rowMean(std::span<const float> row) {
    double sum = 0.0;
    for (const float value : row) sum += value;
    return sum / static_cast<double>(row.size());
}

double rowDeviation(std::span<const float> row) {
    const double mean = rowMean(row);
    double squares = 0.0;
    for (const float value : row) squares = std::fma(value - mean, value - mean, squares);
    return std::sqrt(squares / static_cast<double>(row.size()));
}

}  // namespace

double noiseThreshold(std::span<const float> levels) {
    return rowMean(levels) + rowDeviation(levels) * double{kNoiseDeviations};
}

double energy(std::span<const float> samples) {
    std::array<double, 8> sums{};
    for (std::size_t i = 0; i < samples.size(); ++i) sums[i % 8] += double{samples[i]} * double{samples[i]};
    return ((sums[0] + sums[1]) + (sums[2] + sums[3])) + ((sums[4] + sums[5]) + (sums[6] + sums[7]));
}

bool hasZeroRun(std::span<const float> samples) {
    // Such a run covers an index that is one less than a multiple of ten; only zeros there are worth a look.
    for (std::size_t i = kZeroRun - 1; i < samples.size(); i += kZeroRun) {
        if (samples[i] != 0.0F) continue;
        std::size_t first = i;
        std::size_t end = i + 1;
        while (first > 0 && samples[first - 1] == 0.0F && end - first < kZeroRun) --first;
        while (end < samples.size() && samples[end] == 0.0F && end - first < kZeroRun) ++end;
        if (end - first >= kZeroRun) return true;
    }
    return false;
}

std::vector<float> NoiseReduction::getNoiseFrame(std::span<const float> signal) const {
    const auto length = static_cast<std::size_t>(settings_.frameLength);
    const auto hop = static_cast<std::size_t>(settings_.scanHop);
    VELMOR_ASSERT(signal.size() >= length);
    std::size_t best = 0;
    double minEnergy = kClipEnergyBar;
    for (std::size_t start = 0; start + length <= signal.size(); start += hop) {
        const std::span<const float> clip = signal.subspan(start, length);
        const double clipEnergy = energy(clip.first(hop)) + energy(clip.subspan(hop));
        if (!(minEnergy >= clipEnergy) || hasZeroRun(clip)) continue;
        best = start;
        minEnergy = clipEnergy;
    }
    if (minEnergy == kClipEnergyBar) return std::vector<float>(length);
    const std::span<const float> clip = signal.subspan(best, length);
    return {clip.begin(), clip.end()};
}

std::vector<float> NoiseReduction::reduceNoiseFromSignal(std::vector<float>& signal,
                                                         std::span<const float> noise) const {
    const std::vector<double> limits = thresholds(noise);
    signal.insert(signal.end(), kAppendedZeros, 0.0F);
    const auto stft = Feature::stftTranspose(signal, kGateFft, kGateHop, kWindow, true, kPadMode);
    const Mask mask = createMask(Feature::decibels(stft), limits);
    const Matrix<double> smoothed =
        createSmoothingMask(mask, createSmoothingFilter(kSmoothingBins, kSmoothingFrames));
    return Feature::istft(getMaskedSTFTSignal(stft, smoothed), kGateHop, kWindow, true, kPadMode);
}

std::vector<double> NoiseReduction::thresholds(std::span<const float> noise) {
    const Matrix<float> noiseDb = Feature::stftDB(noise, kGateFft, kGateHop, kWindow, true, kPadMode);
    return getThresh(getMeanAxis1(noiseDb), getStdAxis1(noiseDb), kNoiseDeviations);
}

std::vector<double> NoiseReduction::getMeanAxis1(const Matrix<float>& rows) {
    std::vector<double> means(rows.rows());
    for (std::size_t r = 0; r < rows.rows(); ++r) means[r] = rowMean(rows.row(r));
    return means;
}

std::vector<double> NoiseReduction::getStdAxis1(const Matrix<float>& rows) {
    std::vector<double> deviations(rows.rows());
    for (std::size_t r = 0; r < rows.rows(); ++r) deviations[r] = rowDeviation(rows.row(r));
    return deviations;
}

std::vector<double> NoiseReduction::getThresh(std::span<const double> meanV, std::span<const double> stdV,
                                              float nStd) {
    VELMOR_ASSERT(meanV.size() == stdV.size());
    std::vector<double> result(meanV.size());
    for (std::size_t i = 0; i < result.size(); ++i) result[i] = meanV[i] + stdV[i] * double{nStd};
    return result;
}

Mask NoiseReduction::createMask(const Matrix<float>& signalDb, std::span<const double> thresholds) {
    const std::size_t signalXLen = signalDb.rows();
    const std::size_t threasholdLen = thresholds.size();
    VELMOR_ASSERT(signalXLen == threasholdLen);
    Mask mask(signalDb.rows(), signalDb.columns());
    for (std::size_t b = 0; b < mask.rows(); ++b)
        for (std::size_t t = 0; t < mask.columns(); ++t)
            mask(b, t) = thresholds[b] > double{signalDb(b, t)} ? 1 : 0;
    return mask;
}

Matrix<float> NoiseReduction::createSmoothingFilter(std::int16_t freqHalfWidth, std::int16_t timeHalfWidth) {
    if (freqHalfWidth != kSmoothingBins || timeHalfWidth != kSmoothingFrames) VELMOR_ASSERT(false);
    constexpr std::array<int, 5> a = {1, 2, 3, 2, 1};
    constexpr std::array<int, 9> c = {1, 2, 3, 4, 5, 4, 3, 2, 1};
    Matrix<float> filter(a.size(), c.size());
    for (std::size_t i = 0; i < a.size(); ++i)
        for (std::size_t j = 0; j < c.size(); ++j) filter(i, j) = static_cast<float>(a[i] * c[j] / 225.0);
    return filter;
}

Matrix<double> NoiseReduction::createSmoothingMask(const Mask& mask, const Matrix<float>& filter) {
    const std::size_t halfRows = filter.rows() / 2;
    const std::size_t halfColumns = filter.columns() / 2;
    Matrix<double> smoothed(mask.rows(), mask.columns());
    for (std::size_t r = 0; r < mask.rows(); ++r)
        for (std::size_t i = 0; i < filter.rows(); ++i) {
            const std::size_t row = r + i - halfRows;  // wraps to a huge number above the first row
            if (row >= mask.rows()) continue;
            for (std::size_t c = 0; c < mask.columns(); ++c)
                for (std::size_t j = 0; j < filter.columns(); ++j) {
                    const std::size_t column = c + j - halfColumns;
                    if (column < mask.columns() && mask(row, column)) smoothed(r, c) += double{filter(i, j)};
                }
        }
    return smoothed;
}

Matrix<std::complex<float>> NoiseReduction::getMaskedSTFTSignal(const Matrix<std::complex<float>>& stft,
                                                                const Matrix<double>& smoothed) {
    VELMOR_ASSERT(stft.rows() == smoothed.rows() && stft.columns() == smoothed.columns());
    Matrix<std::complex<float>> masked(stft.rows(), stft.columns());
    for (std::size_t i = 0; i < stft.size(); ++i)
        masked.cells()[i] = stft.cells()[i] * static_cast<float>(1.0 - smoothed.cells()[i]);
    return masked;
}

}  // namespace velmor
