#include "Preprocessor/Fast/ChunkTables.hpp"

#include "Preprocessor/Plain/Feature.hpp"
#include "Preprocessor/Plain/MelBank.hpp"
#include "Preprocessor/Plain/MelSpectrogram.hpp"
#include "Preprocessor/Plain/velmor_NR.hpp"

#include <cmath>
#include <numbers>
#include <numeric>
#include <vector>

namespace velmor {
namespace {

// Cosine and sine of 2 pi i / n, exact at the quarters.
template <class Number>
void angle(Number (&out)[2], std::size_t i, std::size_t n) {
    const std::size_t eighth = i * 8 % n == 0 ? i * 8 / n % 8 : 1;
    const double a = 2.0 * std::numbers::pi * static_cast<double>(i % n) / static_cast<double>(n);
    out[0] = static_cast<Number>(eighth % 4 == 2 ? 0.0 : std::cos(a));
    out[1] = static_cast<Number>(eighth % 4 == 0 ? 0.0 : std::sin(a));
}

template <class Number, std::size_t P, std::size_t Q>
void fill(TransformTables<Number, P, Q>& tables) {
    for (std::size_t column = 0; column < Q; ++column)
        for (std::size_t row = 0; row < P; ++row) angle(tables.twiddle[column][row], column * row, P * Q);
    for (std::size_t k = 0; k <= P * Q; ++k) angle(tables.turn[k], k, 2 * P * Q);
}

template <std::size_t N>
void fillWindow(float (&out)[N]) {
    const std::vector<float> window = librosa::internal::hannWindow(static_cast<std::int32_t>(N));
    for (std::size_t k = 0; k < N; ++k) out[k] = window[k] * static_cast<float>(0.5 * kSpectrumScale);
}

}  // namespace

ChunkTables::ChunkTables() {
    fillWindow(gateWindow);
    fillWindow(melWindow);
    fill(gateForward);
    fill(gateInverse);
    fill(melForward);

    const std::vector<double> window = librosa::Feature::getHannWindow(kGateFft);
    for (std::size_t k = 0; k < kGateFft; ++k) {
        const double other =
            window[(k + kGateHop) % kGateFft];  // every kept sample lies in exactly two frames
        const double sum = window[k] * window[k] + other * other;
        synthesis[k] = window[k] / sum / static_cast<double>(kGateFft) / kSpectrumScale;
    }

    const Matrix<float> filter = NoiseReduction::createSmoothingFilter(kSmoothingBins, kSmoothingFrames);
    gainStep = static_cast<float>(std::accumulate(filter.cells().begin(), filter.cells().end(), 0.0) / 225.0);

    const MelParameters mel;
    const Matrix<float> weights =
        librosa::internal::melWeights(mel.sampleRate, mel.nFft, mel.nMels, mel.fMin, mel.fMax);
    std::size_t next = 0;
    for (std::size_t band = 0; band < kMelBands; ++band) {
        bandFirst[band] = 0;
        bandCount[band] = 0;
        for (std::size_t bin = 0; bin < kMelBins; ++bin) {
            if (weights(band, bin) == 0.0F) continue;
            if (bandCount[band] == 0) bandFirst[band] = bin;
            ++bandCount[band];
            VELMOR_ASSERT(next < kMaxBandWeights);
            bandWeight[next++] = static_cast<float>(double{weights(band, bin)} / kPowerScale);
        }
    }
}

}  // namespace velmor
