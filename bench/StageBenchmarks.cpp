// Every stage of the chunk conversion and the whole, at every vector width of this processor, and the plain
// form; then the resampling that comes before it, and both together. Times are for one chunk: a stage is run
// on as many groups of frames as a chunk has. What has a limit (FftwChain.hpp) is printed with its ratio to
// it.

#include "Breathing.hpp"
#include "Preprocessor/Decimator.hpp"
#include "Preprocessor/Fast/ChunkConverter.hpp"
#include "Preprocessor/Fast/ChunkKernels.hpp"
#include "Preprocessor/Plain/MelSpectrogram.hpp"
#include "Preprocessor/Plain/velmor_NR.hpp"
#include "Preprocessor/Preprocessor.hpp"
#include "RatioReporter.hpp"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <memory>
#include <vector>

namespace {

using velmor::breathing;
using velmor::ChunkConverter;
using velmor::ChunkKernels;
using velmor::Decimator;

// What the kernels need besides the samples.
struct Stage {
    explicit Stage(const ChunkKernels& k) : kernels(k), group(velmor::kRounds * k.lanes) {
        samples.resize(kRoom);
        for (std::size_t bin = 0; bin < velmor::kGateBins; ++bin) {
            limits->below[bin] = 1e20F;
            limits->from[bin] = 1e20F;
            limits->exact[bin] = 1e20;
        }
    }
    std::size_t groups(std::size_t frames) const { return (frames + group - 1) / group; }
    const float* gateSegment(std::size_t g) const { return samples.data() + g * group * velmor::kGateHop; }
    const float* melSegment(std::size_t g) const { return samples.data() + g * group * velmor::kMelHop; }

    const ChunkKernels& kernels;
    const std::size_t group;
    std::vector<float> samples = breathing();
    const std::unique_ptr<velmor::ChunkTables> tables = std::make_unique<velmor::ChunkTables>();
    const std::unique_ptr<velmor::KernelSpace> space = std::make_unique<velmor::KernelSpace>();
    const std::unique_ptr<velmor::GroupSpectra> spectra = std::make_unique<velmor::GroupSpectra>();
    const std::unique_ptr<velmor::MaskPlane> mask = std::make_unique<velmor::MaskPlane>();
    const std::unique_ptr<velmor::PowerLimits> limits = std::make_unique<velmor::PowerLimits>();
    std::vector<float> out = std::vector<float>(kRoom);

    // For whole groups of frames.
    static constexpr std::size_t kRoom = velmor::kChunkSamples + (velmor::kMaxGroup + 1) * velmor::kMelHop;
};

using Step = void (*)(Stage&);

void scan(Stage& s) {
    velmor::Scan result;
    s.kernels.scan(s.samples.data(), result);
    benchmark::DoNotOptimize(result);
}

void analyse(Stage& s) {
    for (std::size_t g = 0; g < s.groups(velmor::kGateFrames); ++g)
        s.kernels.analyse(*s.tables, *s.space, s.gateSegment(g), *s.spectra);
}

void analyseAndMask(Stage& s) {
    for (std::size_t g = 0; g < s.groups(velmor::kGateFrames); ++g)
        s.kernels.analyseAndMask(*s.tables, *s.space, s.gateSegment(g), *s.spectra, *s.limits, *s.mask,
                                 g * s.group);
}

void synthesise(Stage& s) {
    for (std::size_t g = 0; g < s.groups(velmor::kGateFrames); ++g)
        s.kernels.synthesise(*s.tables, *s.space, *s.spectra, *s.mask, g * s.group,
                             s.out.data() + g * s.group * velmor::kGateHop);
}

void mel(Stage& s) {
    for (std::size_t g = 0; g < s.groups(velmor::kMelFrames); ++g)
        s.kernels.mel(*s.tables, *s.space, s.melSegment(g),
                      std::min(s.group, velmor::kMelFrames - g * s.group), s.out.data() + g * s.group);
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

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
#if defined(VELMOR_WITHOUT_LIMIT)
    benchmark::AddCustomContext("limit", "that of resampling only, built without FFTW");
#endif
    velmor::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
}
