#include "FftwChain.hpp"

#include "Preprocessor/Assert.hpp"
#include "Preprocessor/Fast/ChunkKernels.hpp"
#include "Preprocessor/Fast/MelStream.hpp"
#include "Preprocessor/Fast/NoiseLimits.hpp"
#include "Preprocessor/Plain/Feature.hpp"
#include "Preprocessor/Plain/MelSpectrogram.hpp"
#include "Preprocessor/Plain/velmor_NR.hpp"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <fftw3.h>
#include <limits>
#include <type_traits>

namespace velmor {
namespace {

constexpr std::size_t kBlock = 8;  // frames
constexpr std::size_t kSums = 8;   // added up side by side, so that a compiler may use vectors
constexpr std::size_t kReach = 4;  // of the smoothing, in frames
constexpr std::size_t kSegment = (kBlock + 1) * kGateHop;
static_assert(kGateFrames % kBlock == 0);

template <class T>
T total(const T (&sums)[kSums]) {
    return ((sums[0] + sums[1]) + (sums[2] + sums[3])) + ((sums[4] + sums[5]) + (sums[6] + sums[7]));
}

void square(const fftwf_complex* spectrum, std::size_t bins, float* powers) {
    for (std::size_t bin = 0; bin < bins; ++bin)
        powers[bin] = spectrum[bin][0] * spectrum[bin][0] + spectrum[bin][1] * spectrum[bin][1];
}

fftwf_plan planForward(std::size_t length, float* in, fftwf_complex* out) {
    const int n = static_cast<int>(length);
    return fftwf_plan_many_dft_r2c(1, &n, kBlock, in, nullptr, 1, n, out, nullptr, 1, n / 2 + 1,
                                   FFTW_PATIENT);
}

fftw_plan planInverse(std::size_t length, fftw_complex* in, double* out) {
    const int n = static_cast<int>(length);
    return fftw_plan_many_dft_c2r(1, &n, kBlock, in, nullptr, 1, n / 2 + 1, out, nullptr, 1, n, FFTW_PATIENT);
}

struct Destroy {
    void operator()(fftwf_plan plan) const { fftwf_destroy_plan(plan); }
    void operator()(fftw_plan plan) const { fftw_destroy_plan(plan); }
};

template <class Plan>
using Owned = std::unique_ptr<std::remove_pointer_t<Plan>, Destroy>;

}  // namespace

struct FftwChain::Work {
    alignas(64) float gateWindow[kGateFft];
    alignas(64) float melWindow[kMelFft];
    alignas(64) float windowed[kBlock * kMelFft];
    alignas(64) fftwf_complex spectra[2][kBlock * kGateBins];  // of this block and the one before
    alignas(64) fftwf_complex melSpectra[kBlock * kMelBins];
    alignas(64) fftw_complex damped[kBlock * kGateBins];
    alignas(64) double frames[kBlock * kGateFft];
    double carried[kGateHop];  // second half of the last frame
    float limits[kGateBins];
    std::uint8_t mask[(kReach + kGateFrames + kReach) * kGateBins];  // bins innermost; margins stay zero
    MelStream stream;

    fftwf_complex* spectraOf(std::size_t frame) { return spectra[frame / kBlock % 2]; }
};

struct FftwChain::Plans {
    explicit Plans(Work& work)
        : gate(planForward(kGateFft, work.windowed, work.spectra[0])),
          mel(planForward(kMelFft, work.windowed, work.melSpectra)),
          inverse(planInverse(kGateFft, work.damped, work.frames)) {
        VELMOR_ASSERT(gate && mel && inverse);
    }

    const Owned<fftwf_plan> gate;
    const Owned<fftwf_plan> mel;
    const Owned<fftw_plan> inverse;
};

FftwChain::FftwChain() : work_(std::make_unique<Work>()), plans_(std::make_unique<Plans>(*work_)) {
    // The library's own transforms take a factor of two from the window.
    for (std::size_t k = 0; k < kGateFft; ++k) work_->gateWindow[k] = 2.0F * tables_.gateWindow[k];
    for (std::size_t k = 0; k < kMelFft; ++k) work_->melWindow[k] = 2.0F * tables_.melWindow[k];
}

FftwChain::~FftwChain() = default;

void FftwChain::convert(std::span<const float> samples, std::span<float> mel) {
    prepare(samples);
    MelStream& stream = work_->stream;
    stream.start();
    std::fill(std::begin(work_->carried), std::end(work_->carried), 0.0);
    analyseBlock(samples, 0);
    for (std::size_t frame = 0; frame < kGateFrames; frame += kBlock) {
        const std::size_t next = frame + kBlock;
        if (next < kGateFrames) analyseBlock(samples, next);  // the smoothing reaches into it
        synthesiseBlock(frame, stream.room(frame));
        stream.filled(std::min(next, kGateFrames - 1));
        if (next == kGateFrames) stream.finish();
        while (const float* segment = stream.next(kBlock)) {
            const std::size_t first = stream.frame();
            melBlock(segment, std::min(kBlock, kMelFrames - first), mel.data() + first);
            stream.drop(kBlock);
        }
    }
}

void FftwChain::scan(std::span<const float> samples, Scan& scan) const {
    std::uint32_t peak = 0;  // magnitudes order as their bits, whose maximum compilers find with vectors
    for (std::size_t half = 0; half < kClipHalves; ++half) {
        const float* x = samples.data() + half * kClipHop;
        double sums[kSums] = {};
        for (std::size_t i = 0; i < kClipHop; i += kSums)
            for (std::size_t k = 0; k < kSums; ++k) sums[k] += double{x[i + k]} * double{x[i + k]};
        for (std::size_t i = 0; i < kClipHop; ++i)
            peak = std::max(peak, std::bit_cast<std::uint32_t>(x[i]) & 0x7FFFFFFFU);
        scan.energy[half] = total(sums);
    }
    scan.peak = std::bit_cast<float>(peak);
}

void FftwChain::transform(std::span<const float> samples) {
    for (std::size_t frame = 0; frame < kGateFrames; frame += kBlock) {
        const std::size_t start = std::min(frame * kGateHop, kChunkSamples - kSegment);
        transformBlock(samples.data() + start, frame / kBlock % 2);
    }
}

void FftwChain::analyse(std::span<const float> samples) {
    for (std::size_t frame = 0; frame < kGateFrames; frame += kBlock) analyseBlock(samples, frame);
}

void FftwChain::synthesise(std::span<float> out) {
    for (std::size_t frame = 0; frame < kGateFrames; frame += kBlock)
        synthesiseBlock(frame, out.data() + frame * kGateHop);
}

void FftwChain::mel(std::span<const float> samples, std::span<float> mel) {
    for (std::size_t frame = 0; frame < kMelFrames; frame += kBlock)
        melBlock(work_->stream.segmentOf(samples, frame, kBlock), std::min(kBlock, kMelFrames - frame),
                 mel.data() + frame);
}

// Finds the noise clip and sets the limits that follow from it.
void FftwChain::prepare(std::span<const float> samples) {
    Scan energies;
    scan(samples, energies);
    const NoiseClip clip = findNoiseClip(samples, energies);
    VELMOR_ASSERT(clip.found);
    Thresholds thresholds;
    clipThresholds(samples.data() + clip.start, thresholds);

    constexpr float kWindowSum = 129.0F;  // 128 and some room for rounding
    const float bound = 2.0F * (librosa::internal::level(energies.peak * kWindowSum) - 80.0F);
    VELMOR_ASSERT(*std::min_element(std::begin(thresholds), std::end(thresholds)) > double{bound});
    PowerLimits limits;
    setLimits(thresholds, -std::numeric_limits<float>::infinity(), limits);
    for (std::size_t bin = 0; bin < kGateBins; ++bin)
        work_->limits[bin] = static_cast<float>(limits.exact[bin]);
}

void FftwChain::clipThresholds(const float* clip, Thresholds& thresholds) {
    float signal[kBlock * kGateHop + kSegment] = {};  // the clip mirrored at both ends
    std::copy_n(clip, kClipSamples, signal + kGateHop);
    for (std::size_t i = 0; i < kGateHop; ++i) {
        signal[kGateHop - 1 - i] = clip[1 + i];
        signal[kGateHop + kClipSamples + i] = clip[kClipSamples - 2 - i];
    }
    transformBlock(signal, 0);
    transformBlock(signal + kBlock * kGateHop, 1);
    float levels[kGateBins * kClipFrames];
    for (std::size_t frame = 0; frame < kClipFrames; ++frame)
        for (std::size_t bin = 0; bin < kGateBins; ++bin) {
            const float* x = work_->spectraOf(frame)[frame % kBlock * kGateBins + bin];
            constexpr auto kUnscale = static_cast<float>(1.0 / kSpectrumScale);
            levels[bin * kClipFrames + frame] =
                librosa::internal::level(librosa::internal::magnitude({x[0] * kUnscale, x[1] * kUnscale}));
        }
    librosa::internal::cutAndDouble(levels);
    for (std::size_t bin = 0; bin < kGateBins; ++bin)
        thresholds[bin] = noiseThreshold(std::span(levels).subspan(bin * kClipFrames, kClipFrames));
}

void FftwChain::transformBlock(const float* segment, std::size_t half) {
    for (std::size_t frame = 0; frame < kBlock; ++frame)
        for (std::size_t k = 0; k < kGateFft; ++k)
            work_->windowed[frame * kGateFft + k] = segment[frame * kGateHop + k] * work_->gateWindow[k];
    fftwf_execute_dft_r2c(plans_->gate.get(), work_->windowed, work_->spectra[half]);
}

// In place where the chunk has all samples; at its ends it is mirrored, with 128 zeros behind it.
void FftwChain::analyseBlock(std::span<const float> samples, std::size_t frame) {
    float edge[kSegment];
    const float* segment = edge;
    if (frame > 0 && frame + kBlock < kGateFrames) {
        segment = samples.data() + (frame - 1) * kGateHop;
    } else {
        constexpr std::size_t kLast = kChunkSamples + kGateHop - 1;
        for (std::size_t i = 0; i < kSegment; ++i) {
            const std::size_t after = frame * kGateHop + i;  // by half a frame
            std::size_t at = after < kGateHop ? kGateHop - after : after - kGateHop;
            if (at > kLast) at = 2 * kLast - at;
            edge[i] = at < kChunkSamples ? samples[at] : 0.0F;
        }
    }
    transformBlock(segment, frame / kBlock % 2);
    const float* limits = work_->limits;
    for (std::size_t i = 0; i < kBlock; ++i) {
        float powers[kGateBins];
        square(work_->spectraOf(frame) + i * kGateBins, kGateBins, powers);
        std::uint8_t* cells = work_->mask + (kReach + frame + i) * kGateBins;
        for (std::size_t bin = 0; bin < kGateBins; ++bin) cells[bin] = powers[bin] < limits[bin] ? 255 : 0;
    }
}

void FftwChain::synthesiseBlock(std::size_t frame, float* out) {
    for (std::size_t i = 0; i < kBlock; ++i) dampFrame(frame + i);
    fftw_execute(plans_->inverse.get());
    const double* window = tables_.synthesis;
    double* carried = work_->carried;
    for (std::size_t i = 0; i < kBlock; ++i) {
        const double* x = work_->frames + i * kGateFft;
        for (std::size_t k = 0; k < kGateHop; ++k)
            out[i * kGateHop + k] = static_cast<float>(carried[k] + x[k] * window[k]);
        for (std::size_t k = 0; k < kGateHop; ++k) carried[k] = x[kGateHop + k] * window[kGateHop + k];
    }
}

// Smooths the mask and damps the spectrum by it: weights 1 2 3 4 5 4 3 2 1 along the frames, which select
// bits of bytes that are 0 or 255, then 1 2 3 2 1 along the bins.
void FftwChain::dampFrame(std::size_t frame) {
    std::uint8_t sums[kGateBins + 4] = {};
    for (std::size_t j = 0; j <= 2 * kReach; ++j) {
        const std::uint8_t* cells = work_->mask + (frame + j) * kGateBins;
        const auto weight = static_cast<std::uint8_t>(j < kReach ? j + 1 : 2 * kReach + 1 - j);
        for (std::size_t bin = 0; bin < kGateBins; ++bin)
            sums[bin + 2] = static_cast<std::uint8_t>(sums[bin + 2] + (cells[bin] & weight));
    }
    float gains[kGateBins];
    for (std::size_t bin = 0; bin < kGateBins; ++bin) {
        const auto sum = static_cast<std::uint8_t>(sums[bin] + sums[bin + 4] +
                                                   2 * (sums[bin + 1] + sums[bin + 3]) + 3 * sums[bin + 2]);
        gains[bin] = static_cast<float>(225 - sum) * tables_.gainStep;
    }
    const fftwf_complex* spectrum = work_->spectraOf(frame) + frame % kBlock * kGateBins;
    fftw_complex* damped = work_->damped + frame % kBlock * kGateBins;
    for (std::size_t bin = 0; bin < kGateBins; ++bin)
        for (std::size_t part = 0; part < 2; ++part)
            damped[bin][part] = double{spectrum[bin][part] * gains[bin]};
}

void FftwChain::melBlock(const float* segment, std::size_t count, float* out) {
    for (std::size_t frame = 0; frame < count; ++frame)
        for (std::size_t k = 0; k < kMelFft; ++k)
            work_->windowed[frame * kMelFft + k] = segment[frame * kMelHop + k] * work_->melWindow[k];
    fftwf_execute(plans_->mel.get());
    for (std::size_t frame = 0; frame < count; ++frame) {
        float powers[kMelBins];
        square(work_->melSpectra + frame * kMelBins, kMelBins, powers);
        const float* weights = tables_.bandWeight;
        for (std::size_t band = 0; band < kMelBands; ++band) {
            const float* x = powers + tables_.bandFirst[band];
            const std::size_t bins = tables_.bandCount[band];
            float sums[kSums] = {};
            std::size_t bin = 0;
            for (; bin + kSums <= bins; bin += kSums)
                for (std::size_t k = 0; k < kSums; ++k) sums[k] += x[bin + k] * weights[bin + k];
            for (; bin < bins; ++bin) sums[0] += x[bin] * weights[bin];
            out[band * kMelFrames + frame] = total(sums);
            weights += bins;
        }
    }
}

}  // namespace velmor
