#include "Preprocessor/Fast/ChunkConverter.hpp"

#include "Preprocessor/Assert.hpp"
#include "Preprocessor/Fast/ChunkKernels.hpp"
#include "Preprocessor/Fast/FloatMode.hpp"
#include "Preprocessor/Fast/MelStream.hpp"
#include "Preprocessor/Fast/NoiseLimits.hpp"
#include "Preprocessor/Plain/Feature.hpp"
#include "Preprocessor/Plain/MelSpectrogram.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace velmor {
namespace {

const ChunkTables& chunkTables() {
    static const ChunkTables tables;
    return tables;
}

// Sample `i` of the chunk with the zeros behind it, mirrored at both ends, and zeros beyond.
float mirrored(std::span<const float> samples, std::ptrdiff_t i) {
    const auto size = static_cast<std::ptrdiff_t>(samples.size());
    const std::ptrdiff_t end = size + static_cast<std::ptrdiff_t>(kAppendedZeros);
    if (i < 0) i = -i;
    if (i >= end) i = 2 * (end - 1) - i;
    return i >= 0 && i < size ? samples[static_cast<std::size_t>(i)] : 0.0F;
}

}  // namespace

struct ChunkConverter::Work {
    KernelSpace space;
    GroupSpectra spectra[2];
    MaskPlane mask;
    PowerLimits limits;
    Scan scan;
    alignas(64) float segment[(kMaxGroup + 1) * kGateHop];
    MelStream stream;

    // The half-blocks from `frame` on; in place where the chunk has them all.
    const float* gateSegment(std::span<const float> samples, std::size_t frame, std::size_t group) {
        const auto length = static_cast<std::ptrdiff_t>((group + 1) * kGateHop);
        const auto start =
            static_cast<std::ptrdiff_t>(frame * kGateHop) - static_cast<std::ptrdiff_t>(kGateHop);
        if (start >= 0 && start + length <= static_cast<std::ptrdiff_t>(samples.size()))
            return samples.data() + start;
        for (std::ptrdiff_t i = 0; i < length; ++i) segment[i] = mirrored(samples, start + i);
        return segment;
    }

    // The noise clip mirrored at both ends, as the first group of a transform.
    const float* clipSegment(std::span<const float> samples, const NoiseClip& clip) {
        std::fill(std::begin(segment), std::end(segment), 0.0F);
        if (!clip.found) return segment;
        const float* x = samples.data() + clip.start;
        std::copy_n(x, kClipSamples, segment + kGateHop);
        for (std::size_t i = 0; i < kGateHop; ++i) {
            segment[kGateHop - 1 - i] = x[1 + i];
            segment[kGateHop + kClipSamples + i] = x[kClipSamples - 2 - i];
        }
        return segment;
    }

    // What lies behind the last frame is no part of the mask.
    void clearBehindLastFrame() {
        for (std::size_t bin = 0; bin < kGateBins; ++bin)
            std::memset(mask.at(bin, kGateFrames), 0, MaskPlane::kStride - MaskPlane::kMargin - kGateFrames);
    }
};

ChunkConverter::ChunkConverter() : ChunkConverter(chunkKernels()) {}
ChunkConverter::ChunkConverter(const ChunkKernels& kernels)
    : kernels_(&kernels), work_(std::make_unique<Work>()) {}
ChunkConverter::~ChunkConverter() = default;
ChunkConverter::ChunkConverter(ChunkConverter&&) noexcept = default;
ChunkConverter& ChunkConverter::operator=(ChunkConverter&&) noexcept = default;

const MaskPlane& ChunkConverter::mask() const {
    return work_->mask;
}

// Finds the noise clip and sets the limits that follow from it.
void ChunkConverter::prepare(std::span<const float> samples) {
    Work& work = *work_;
    const ChunkTables& tables = chunkTables();
    kernels_->scan(samples.data(), work.scan);
    const NoiseClip clip = findNoiseClip(samples, work.scan);
    kernels_->analyse(tables, work.space, work.clipSegment(samples, clip), work.spectra[0]);
    double thresholds[kGateBins];
    noiseThresholds(work.spectra[0], kernels_->lanes, thresholds);

    // The loudest cell matters only where a threshold is 160 dB below it. No cell is louder than the peak
    // times the sum of the window; only when that does not settle it is the loudest one looked for.
    constexpr float kWindowSum = 129.0F;  // 128 and some room for rounding
    const float bound = 2.0F * (librosa::internal::level(work.scan.peak * kWindowSum) - kLevelRange);
    const bool settled = std::isfinite(work.scan.peak) &&
                         std::all_of(std::begin(thresholds), std::end(thresholds),
                                     [&](double t) { return t > double{bound} || powerLimit(t) == 0.0; });
    float top = -std::numeric_limits<float>::infinity();
    if (!settled) {
        const std::size_t group = kRounds * kernels_->lanes;
        float power = 0.0F;
        for (std::size_t frame = 0; frame < kGateFrames; frame += group)
            power = std::max(power,
                             kernels_->peakPower(tables, work.space, work.gateSegment(samples, frame, group),
                                                 work.spectra[0]));
        top = librosa::internal::level(static_cast<float>(std::sqrt(double{power} / kPowerScale)));
    }
    setLimits(thresholds, top, work.limits);
}

template <class Sink>
void ChunkConverter::reduceNoise(std::span<const float> samples, Sink& sink) {
    VELMOR_ASSERT(samples.size() == kChunkSamples);
    const NoDenormals noDenormals;
    prepare(samples);
    Work& work = *work_;
    const ChunkTables& tables = chunkTables();
    const std::size_t group = kRounds * kernels_->lanes;
    const auto analyse = [&](std::size_t frame) {
        kernels_->analyseAndMask(tables, work.space, work.gateSegment(samples, frame, group),
                                 work.spectra[frame / group % 2], work.limits, work.mask, frame);
        if (frame + group >= kGateFrames) work.clearBehindLastFrame();
    };
    std::fill(std::begin(work.space.carried), std::end(work.space.carried), 0.0);
    analyse(0);
    for (std::size_t frame = 0; frame < kGateFrames; frame += group) {
        if (frame + group < kGateFrames) analyse(frame + group);  // the smoothing reaches four frames into it
        kernels_->synthesise(tables, work.space, work.spectra[frame / group % 2], work.mask, frame,
                             sink.room(frame, group));
        sink.take(frame, group);
    }
}

namespace {

// Half-blocks to their place in the output; the first and the last one of all belong to the padding.
class WholeSignal {
  public:
    WholeSignal(std::span<float> out, float* spare) : out_(out), spare_(spare) {}
    float* room(std::size_t frame, std::size_t group) {
        return inside(frame, group) ? out_.data() + (frame - 1) * kGateHop : spare_;
    }
    void take(std::size_t frame, std::size_t group) {
        if (inside(frame, group)) return;
        const std::size_t first = std::max<std::size_t>(frame, 1);
        const std::size_t end = std::min(frame + group, kGateFrames - 1);
        if (first < end)
            std::copy_n(spare_ + (first - frame) * kGateHop, (end - first) * kGateHop,
                        out_.data() + (first - 1) * kGateHop);
    }

  private:
    static bool inside(std::size_t frame, std::size_t group) {
        return frame > 0 && frame + group < kGateFrames;
    }

    std::span<float> out_;
    float* spare_;
};

// Half-blocks straight on to the mel spectrogram.
class IntoMel {
  public:
    IntoMel(const ChunkKernels& kernels, KernelSpace& space, MelStream& stream, std::span<float> mel)
        : kernels_(kernels), space_(space), stream_(stream), mel_(mel) {
        stream_.start();
    }
    float* room(std::size_t frame, std::size_t) { return stream_.room(frame); }
    void take(std::size_t frame, std::size_t group) {
        const std::size_t end = std::min(frame + group, kGateFrames - 1);
        stream_.filled(end);
        if (frame + group >= kGateFrames) stream_.finish();
        while (const float* segment = stream_.next(group)) {
            const std::size_t first = stream_.frame();
            kernels_.mel(chunkTables(), space_, segment, std::min(group, kMelFrames - first),
                         mel_.data() + first);
            stream_.drop(group);
        }
    }

  private:
    const ChunkKernels& kernels_;
    KernelSpace& space_;
    MelStream& stream_;
    std::span<float> mel_;
};

}  // namespace

void ChunkConverter::convert(std::span<const float> samples, std::span<float> mel) {
    VELMOR_ASSERT(mel.size() == kMelCells);
    IntoMel sink(*kernels_, work_->space, work_->stream, mel);
    reduceNoise(samples, sink);
}

void ChunkConverter::denoise(std::span<const float> samples, std::span<float> out) {
    VELMOR_ASSERT(out.size() == kChunkSamples);
    WholeSignal sink(out, work_->stream.spare());
    reduceNoise(samples, sink);
}

void ChunkConverter::mel(std::span<const float> samples, std::span<float> mel) {
    VELMOR_ASSERT(samples.size() == kChunkSamples && mel.size() == kMelCells);
    const NoDenormals noDenormals;
    const std::size_t group = kRounds * kernels_->lanes;
    for (std::size_t frame = 0; frame < kMelFrames; frame += group)
        kernels_->mel(chunkTables(), work_->space, work_->stream.segmentOf(samples, frame, group),
                      std::min(group, kMelFrames - frame), mel.data() + frame);
}

}  // namespace velmor
