#pragma once

// Noise reduction by spectral gating, step by step in plain form: the quietest 0.1 s of a signal sets a level
// for every frequency; cells of the spectrogram below it are damped, softly at the borders, and the signal is
// made anew from what is left. ChunkConverter does the same for whole chunks at speed.
//
// Matrices are bins x frames. Everything is pure but for the argument that reduceNoiseFromSignal lengthens.

#include "Preprocessor/Plain/Matrix.hpp"
#include "Preprocessor/SignalConstants.hpp"

#include <complex>
#include <cstdint>
#include <span>
#include <vector>

namespace velmor {

struct NoiseReductionSettings {
    std::int32_t sampleRate = kSampleRate;
    double frameSeconds = 0.1;
    double hopSeconds = 0.05;
    std::int32_t frameLength = kClipSamples;
    std::int32_t hopLengthSamples = kClipHop;
    std::int32_t scanHop = kClipHop;  ///< samples between candidates for the noise clip
};

/// Energy, the sum of x^2 in double precision. The squares go to eight sums in turn, which are then added in
/// pairs, so that vectors of any width come to the same number.
double energy(std::span<const float> samples);

/// Whether ten samples in a row are exactly zero: a gap in the recording, not a quiet room.
bool hasZeroRun(std::span<const float> samples);

/// Level in decibels below which a bin counts as noise, from its levels in the noise clip: mean + 1.5
/// deviations.
double noiseThreshold(std::span<const float> levels);

class NoiseReduction {
  public:
    /// Copy of the clip of `frameLength` samples with the least energy among those that start at multiples of
    /// `scanHop`, the last of equals, leaving out clips with a run of ten zeros. All zeros when there is none
    /// with less energy than `frameLength`. The signal must be at least as long as a clip.
    std::vector<float> getNoiseFrame(std::span<const float> signal) const;

    /// The signal without the noise, 128 x floor(n / 128) samples of n. Appends 128 zeros to `signal`.
    std::vector<float> reduceNoiseFromSignal(std::vector<float>& signal, std::span<const float> noise) const;

    /// Mean of every row, and its population standard deviation.
    static std::vector<double> getMeanAxis1(const Matrix<float>& rows);
    static std::vector<double> getStdAxis1(const Matrix<float>& rows);
    /// mean + nStd x deviation, one for every row. The lists must be equally long.
    static std::vector<double> getThresh(std::span<const double> meanV, std::span<const double> stdV,
                                         float nStd);
    /// The level of every bin, in decibels, below which cells count as noise: mean + 1.5 deviations of the
    /// clip.
    static std::vector<double> thresholds(std::span<const float> noise);
    /// 1 where a cell is strictly below the threshold of its row. There must be one threshold for every row.
    static Mask createMask(const Matrix<float>& signalDb, std::span<const double> thresholds);
    /// The table a x c / 225 with a = 1 2 3 2 1 down the frequencies and c = 1 2 3 4 5 4 3 2 1 along the
    /// frames. There is no other: half widths must be 2 and 4.
    static Matrix<float> createSmoothingFilter(std::int16_t freqHalfWidth, std::int16_t timeHalfWidth);
    /// Correlation of mask and filter, zero outside the mask.
    static Matrix<double> createSmoothingMask(const Mask& mask, const Matrix<float>& filter);
    /// Every cell times float(1 - smoothed).
    static Matrix<std::complex<float>> getMaskedSTFTSignal(const Matrix<std::complex<float>>& stft,
                                                           const Matrix<double>& smoothed);

  private:
    const NoiseReductionSettings settings_{};
};

}  // namespace velmor
