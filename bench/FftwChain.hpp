#pragma once

// The yardstick of the benchmarks: the conversion of a chunk around the transforms of FFTW.
//
// The transforms of a good library are the cost that cannot be avoided, whatever is done around them. So they
// are planned with all patience, for eight frames at a time, which stay in the cache; and around them is only
// the arithmetic that the result needs: one forward transform for the mask and the signal, powers compared
// instead of decibels, smoothing in bytes, along the frames and then along the bins, inverse transforms in
// double precision, the mel weights that are not zero, all in one pass over the chunk. The compiler may use
// what every x86-64 processor of the last ten years has, and the loops are written so that it can.

#include "Preprocessor/Fast/ChunkTables.hpp"

#include <cstddef>
#include <memory>
#include <span>

namespace velmor {

struct Scan;

/// For chunks with a noise clip whose thresholds all lie within 160 dB of the peak, as any recording has one;
/// others end the process. One thread at a time.
class FftwChain {
  public:
    /// Plans the transforms, which takes a second or two.
    FftwChain();
    ~FftwChain();

    /// 480,000 samples to 20 x 1201 mel powers, bands outermost.
    void convert(std::span<const float> samples, std::span<float> mel);

    /// The parts of it, each for a whole chunk. Energies and peak:
    void scan(std::span<const float> samples, Scan& scan) const;
    /// Forward transforms alone.
    void transform(std::span<const float> samples);
    /// Forward transforms and the mask, by the limits of the last conversion.
    void analyse(std::span<const float> samples);
    /// Smoothing and inverse transforms, by the last mask, each time of the last spectra.
    void synthesise(std::span<float> out);
    /// Mel powers without the noise reduction.
    void mel(std::span<const float> samples, std::span<float> mel);

  private:
    struct Plans;
    struct Work;
    using Thresholds = double[kGateBins];

    void prepare(std::span<const float> samples);
    void clipThresholds(const float* clip, Thresholds& thresholds);
    void transformBlock(const float* segment, std::size_t half);
    void analyseBlock(std::span<const float> samples, std::size_t frame);
    void synthesiseBlock(std::size_t frame, float* out);
    void dampFrame(std::size_t frame);
    void melBlock(const float* segment, std::size_t count, float* out);

    const ChunkTables tables_;
    const std::unique_ptr<Work> work_;
    const std::unique_ptr<Plans> plans_;
};

}  // namespace velmor
