// Every stage of the chunk conversion and the whole, at every vector width of this processor, and the plain
// form; then the resampling that comes before it, and both together. Times are for one chunk: a stage is run
// on as many groups of frames as a chunk has.

#include "Preprocessor/Chunk/ChunkConverter.hpp"
#include "Preprocessor/Chunk/ChunkKernels.hpp"
#include "Preprocessor/Decimator.hpp"
#include "Preprocessor/MelSpectrogram.hpp"
#include "Preprocessor/Preprocessor.hpp"
#include "Preprocessor/velmor_NR.hpp"

#include <benchmark/benchmark.h>
#include <cmath>
#include <memory>
#include <vector>

namespace {

using velmor::ChunkConverter;
using velmor::ChunkKernels;
using velmor::Decimator;

// Breathing over a quiet floor.
std::vector<float> breathing() {
    std::vector<float> samples(velmor::kChunkSamples);
    unsigned word = 1;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        word = word * 1664525U + 1013904223U;
        const float swell = std::sin(static_cast<float>(i) * 1e-4F);
        samples[i] = (0.004F + 0.05F * swell * swell) * (static_cast<float>(word) * 0x1p-31F - 1.0F);
    }
    return samples;
}

// What the kernels need besides the samples.
struct Stage {
    explicit Stage(const ChunkKernels& k) : kernels(k), group(velmor::kRounds * k.lanes) {
        for (std::size_t bin = 0; bin < velmor::kGateBins; ++bin) {
            limits->below[bin] = 1e20F;
            limits->from[bin] = 1e20F;
            limits->exact[bin] = 1e20;
        }
    }
    std::size_t groups(std::size_t frames) const { return (frames + group - 1) / group; }

    const ChunkKernels& kernels;
    const std::size_t group;
    const std::vector<float> samples = breathing();
    const std::unique_ptr<velmor::ChunkTables> tables = std::make_unique<velmor::ChunkTables>();
    const std::unique_ptr<velmor::KernelSpace> space = std::make_unique<velmor::KernelSpace>();
    const std::unique_ptr<velmor::GroupSpectra> spectra = std::make_unique<velmor::GroupSpectra>();
    const std::unique_ptr<velmor::MaskPlane> mask = std::make_unique<velmor::MaskPlane>();
    const std::unique_ptr<velmor::PowerLimits> limits = std::make_unique<velmor::PowerLimits>();
    std::vector<float> out = std::vector<float>(velmor::kChunkSamples);
};

using Step = void (*)(Stage&);

void scan(Stage& s) {
    velmor::Scan result;
    s.kernels.scan(s.samples.data(), result);
    benchmark::DoNotOptimize(result);
}

void analyse(Stage& s) {
    for (std::size_t g = 0; g < s.groups(velmor::kGateFrames); ++g)
        s.kernels.analyse(*s.tables, *s.space, s.samples.data() + g * 4096, *s.spectra);
}

void analyseAndMask(Stage& s) {
    for (std::size_t g = 0; g < s.groups(velmor::kGateFrames); ++g)
        s.kernels.analyseAndMask(*s.tables, *s.space, s.samples.data() + g * 1024, *s.spectra, *s.limits,
                                 *s.mask, g * s.group);
}

void synthesise(Stage& s) {
    for (std::size_t g = 0; g < s.groups(velmor::kGateFrames); ++g)
        s.kernels.synthesise(*s.tables, *s.space, *s.spectra, *s.mask, g * s.group, s.out.data() + g * 1024);
}

void mel(Stage& s) {
    for (std::size_t g = 0; g < s.groups(velmor::kMelFrames); ++g)
        s.kernels.mel(*s.tables, *s.space, s.samples.data() + g * 4096, s.group, s.out.data());
}

const ChunkKernels& kernelsOf(benchmark::State& state) {
    const ChunkKernels* all[2];
    velmor::allChunkKernels(all);
    const ChunkKernels& kernels = *all[state.range(0)];
    state.SetLabel(kernels.name);
    return kernels;
}

void stage(benchmark::State& state, Step step) {
    Stage work(kernelsOf(state));
    analyse(work);
    while (state.KeepRunning()) step(work);
}

// 48 kHz sound of a chunk, handled in blocks of 0.4 s as a recording does.
struct Recording {
    explicit Recording(const ChunkKernels& kernels) : decimator(kernels) {
        const std::vector<float> samples = breathing();
        for (std::size_t i = 0; i < in.size(); ++i) in[i] = samples[i % samples.size()];
    }
    void resample() {
        constexpr std::size_t kBlock = 6'400;
        for (std::size_t at = 0; at < out.size(); at += kBlock)
            benchmark::DoNotOptimize(
                decimator.process(std::span(in).subspan(Decimator::kRatio * at, Decimator::kRatio * kBlock),
                                  std::span(out).subspan(at, kBlock)));
    }

    Decimator decimator;
    std::vector<float> in = std::vector<float>(Decimator::kRatio * velmor::kChunkSamples);
    std::vector<float> out = std::vector<float>(velmor::kChunkSamples);
};

void resampling(benchmark::State& state) {
    Recording recording(kernelsOf(state));
    while (state.KeepRunning()) recording.resample();
}

void microphoneToNpyFile(benchmark::State& state) {
    Recording recording(velmor::chunkKernels());
    const velmor::ConverterWrapper converter;
    while (state.KeepRunning()) {
        recording.resample();
        benchmark::DoNotOptimize(Velmor::melFileImage(converter, recording.out));
    }
}

void chunk(benchmark::State& state) {
    ChunkConverter converter(kernelsOf(state));
    const std::vector<float> samples = breathing();
    std::vector<float> result(velmor::kMelCells);
    while (state.KeepRunning()) converter.convert(samples, result);
}

void npyFile(benchmark::State& state) {
    const velmor::ConverterWrapper converter;
    const std::vector<float> samples = breathing();
    while (state.KeepRunning()) benchmark::DoNotOptimize(Velmor::melFileImage(converter, samples));
}

void plainForm(benchmark::State& state) {
    const std::vector<float> samples = breathing();
    const velmor::NoiseReduction reduction;
    while (state.KeepRunning()) {
        std::vector<float> signal = samples;
        const std::vector<float> clean =
            reduction.reduceNoiseFromSignal(signal, reduction.getNoiseFrame(signal));
        benchmark::DoNotOptimize(velmor::transMel().getVelmorMelspectrogram(clean));
    }
}

void everyWidth(benchmark::internal::Benchmark* benchmark) {
    const ChunkKernels* all[2];
    const auto count = static_cast<std::int64_t>(velmor::allChunkKernels(all));
    benchmark->DenseRange(0, count - 1)->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(stage, scan, scan)->Apply(everyWidth);
BENCHMARK_CAPTURE(stage, transforms256, analyse)->Apply(everyWidth);
BENCHMARK_CAPTURE(stage, transforms256AndMask, analyseAndMask)->Apply(everyWidth);
BENCHMARK_CAPTURE(stage, smoothingAndInverse, synthesise)->Apply(everyWidth);
BENCHMARK_CAPTURE(stage, mel, mel)->Apply(everyWidth);
BENCHMARK(chunk)->Apply(everyWidth);
BENCHMARK(npyFile)->Unit(benchmark::kMillisecond);
BENCHMARK(resampling)->Apply(everyWidth);
BENCHMARK(microphoneToNpyFile)->Unit(benchmark::kMillisecond);
BENCHMARK(plainForm)->Unit(benchmark::kMillisecond);

}  // namespace
