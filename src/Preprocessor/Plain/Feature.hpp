#pragma once

// Spectral analysis of one signal: short-time Fourier transforms both ways, decibel and mel spectrograms.
// This is the plain form, for any sizes; Fast/ChunkConverter does the same sums for whole chunks at speed and
// is tested against it. All functions are pure and may be called on any thread.
//
// A frame is nFft samples, multiplied by a periodic Hann window; frames start every hopLength samples; bins
// are 0 ... nFft / 2. With `center` the signal is first lengthened by nFft / 2 samples on either side.
// `padMode` says by what: "reflect" (mirrored, the edge sample not repeated), "symmetric" (mirrored,
// repeated), "edge" (the edge sample) or, for any other text, zeros. A signal too short to be mirrored ends
// the process. Window names are accepted for the sake of callers that have one and are ignored.

#include "Preprocessor/Plain/Matrix.hpp"
#include "Preprocessor/SignalConstants.hpp"

#include <complex>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace librosa {

namespace internal {

/// Periodic Hann window in single precision: 0.5 (1 - cos(2 pi k / nFft)).
std::vector<float> hannWindow(std::int32_t nFft);

/// Forward transform, unscaled: frames x bins, with 1 + (lengthened signal - nFft) / hopLength frames.
velmor::Matrix<std::complex<float>> stft(std::span<const float> samples, std::int32_t nFft,
                                         std::int32_t hopLength, bool center, std::string_view padMode);

/// sqrt(re^2 + im^2), summed in double precision and rounded once; not a number if a part is not.
float magnitude(std::complex<float> x);

/// Level of a magnitude, half of its decibels: 10 log10(max(magnitude, 1e-20)).
float level(float magnitude);

/// Levels to decibels: raises them to 80 below the highest and doubles them.
void cutAndDouble(std::span<float> levels);

}  // namespace internal

class Feature {
  public:
    /// Power mel spectrogram, frames x nMels: sum over bins of filter weight x |X|^power. Not logarithmic.
    static velmor::Matrix<float> melspectrogram(std::span<const float> samples, std::int32_t sampleRate,
                                                std::int32_t nFft, std::int32_t hopLength,
                                                std::string_view window, bool center,
                                                std::string_view padMode, float power, std::int32_t nMels,
                                                std::int32_t fMin, std::int32_t fMax);

    /// The forward transform as bins x frames.
    static velmor::Matrix<std::complex<float>> stftTranspose(std::span<const float> samples,
                                                             std::int32_t nFft, std::int32_t hopLength,
                                                             std::string_view window, bool center,
                                                             std::string_view padMode);

    /// Decibels, bins x frames: 2 max(L, max(L) - 80) with L = 10 log10(max(|X|, 1e-20)). The cut comes
    /// before the doubling, so values span 160 dB. A cell that is not a number stays one and is no maximum.
    static velmor::Matrix<float> stftDB(std::span<const float> samples, std::int32_t nFft,
                                        std::int32_t hopLength, std::string_view window, bool center,
                                        std::string_view padMode);
    /// The same of a transform that exists already (bins x frames). It must not be empty.
    static velmor::Matrix<float> decibels(const velmor::Matrix<std::complex<float>>& stft);

    /// Periodic Hann window in double precision.
    static std::vector<double> getHannWindow(std::int16_t n);

    /// Signal of a transform (bins x frames) by windowed overlap-add in double precision, divided by the sum
    /// of squared windows. Hop 0 means a quarter of a frame. Half a frame is dropped at the start, and half a
    /// frame and 128 samples at the end, whatever the arguments: a denoised signal was lengthened by those
    /// 128.
    static std::vector<float> istft(const velmor::Matrix<std::complex<float>>& stft, std::int32_t hop,
                                    std::string_view window = "hann", bool center = true,
                                    std::string_view padMode = "reflect");

    /// Sum of the squared windows of `frames` frames: nFft + hop x (frames - 1) values.
    static std::vector<double> hannWindowSumSquare(std::int32_t frames, std::int16_t windowLength,
                                                   std::int16_t nFft, std::int16_t hop);
};

}  // namespace librosa
