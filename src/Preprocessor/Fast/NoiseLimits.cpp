#include "Preprocessor/Fast/NoiseLimits.hpp"

#include "Preprocessor/Plain/Feature.hpp"
#include "Preprocessor/Plain/velmor_NR.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace velmor {
namespace {

constexpr double kRoundingOfPower = 4e-7;  // bound on the relative error of re^2 + im^2 in single precision

bool isBelow(float magnitude, double threshold) {
    return threshold > double{2.0F * librosa::internal::level(magnitude)};
}

// The smallest magnitude that is not below the threshold, 0 if none is below. Positive floats order as their
// bits.
float magnitudeLimit(double threshold) {
    if (!isBelow(0.0F, threshold)) return 0.0F;
    const auto guess = static_cast<float>(std::pow(10.0, threshold / 20.0));
    constexpr std::uint32_t kLargest = std::bit_cast<std::uint32_t>(std::numeric_limits<float>::max());
    const std::uint32_t middle =
        std::bit_cast<std::uint32_t>(std::min(guess, std::numeric_limits<float>::max()));
    std::uint32_t below = middle;
    std::uint32_t above = middle;
    for (std::uint32_t step = 16; below > 0 && !isBelow(std::bit_cast<float>(below), threshold); step *= 4)
        below = below > step ? below - step : 0;
    for (std::uint32_t step = 16; above < kLargest && isBelow(std::bit_cast<float>(above), threshold);
         step *= 4)
        above = kLargest - above > step ? above + step : kLargest;
    while (above - below > 1) {
        const std::uint32_t half = below + (above - below) / 2;
        (isBelow(std::bit_cast<float>(half), threshold) ? below : above) = half;
    }
    return std::bit_cast<float>(above);
}

float magnitudeOf(double power) {
    return static_cast<float>(std::sqrt(power));
}

}  // namespace

NoiseClip findNoiseClip(std::span<const float> chunk, const Scan& scan) {
    NoiseClip clip;
    double least = kClipEnergyBar;
    for (std::size_t i = 0; i + 1 < kClipHalves; ++i) {
        const double energy = scan.energy[i] + scan.energy[i + 1];
        if (!(least >= energy) || hasZeroRun(chunk.subspan(i * kClipHop, kClipSamples))) continue;
        least = energy;
        clip = {true, i * kClipHop};
    }
    if (least == kClipEnergyBar) clip.found = false;
    return clip;
}

void noiseThresholds(const GroupSpectra& spectra, std::size_t lanes, double (&thresholds)[kGateBins]) {
    float levels[kGateBins * kClipFrames];
    for (std::size_t frame = 0; frame < kClipFrames; ++frame) {
        const std::size_t lane = frame / kRounds;
        const std::size_t round = frame % kRounds;
        for (std::size_t bin = 0; bin < kGateBins; ++bin) {
            const float* x = spectra.values + (round * kGateBins + bin) * 2 * lanes;
            constexpr auto kUnscale = static_cast<float>(1.0 / kSpectrumScale);
            levels[bin * kClipFrames + frame] = librosa::internal::level(
                librosa::internal::magnitude({x[lane] * kUnscale, x[lanes + lane] * kUnscale}));
        }
    }
    librosa::internal::cutAndDouble(levels);
    for (std::size_t bin = 0; bin < kGateBins; ++bin)
        thresholds[bin] = noiseThreshold(std::span(levels).subspan(bin * kClipFrames, kClipFrames));
}

double powerLimit(double threshold) {
    const float magnitude = magnitudeLimit(threshold);
    if (magnitude == 0.0F) return 0.0;
    const double middle = (double{std::nextafter(magnitude, 0.0F)} + double{magnitude}) / 2.0;
    double power = middle * middle;
    while (magnitudeOf(power) < magnitude)
        power = std::nextafter(power, std::numeric_limits<double>::infinity());
    while (magnitudeOf(std::nextafter(power, 0.0)) >= magnitude) power = std::nextafter(power, 0.0);
    return power;
}

void setLimits(const double (&thresholds)[kGateBins], float topLevel, PowerLimits& limits) {
    const double bottom = double{2.0F * (topLevel - kLevelRange)};
    for (std::size_t bin = 0; bin < kGateBins; ++bin) {
        const double power = thresholds[bin] > bottom ? powerLimit(thresholds[bin]) * kPowerScale : 0.0;
        limits.exact[bin] = power;
        limits.below[bin] = static_cast<float>(power * (1.0 - kRoundingOfPower));
        limits.from[bin] = static_cast<float>(power * (1.0 + kRoundingOfPower));
    }
}

}  // namespace velmor
