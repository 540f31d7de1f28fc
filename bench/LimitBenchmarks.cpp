// What the stages of the chunk conversion and the whole are measured against: see FftwChain.hpp.

#include "Breathing.hpp"
#include "FftwChain.hpp"
#include "Preprocessor/Fast/ChunkConverter.hpp"
#include "Preprocessor/Fast/ChunkKernels.hpp"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

using velmor::FftwChain;

struct Limit {
    Limit();

    FftwChain chain;
    const std::vector<float> samples = velmor::breathing();
    std::vector<float> mel = std::vector<float>(velmor::kMelCells);
    std::vector<float> clean = std::vector<float>(velmor::kGateFrames * velmor::kGateHop);
};

// A cell of the mask on the border may fall on either side of it, as the two round differently, and is seen
// in some twenty cells of the result: a few of these are forgiven.
bool agree(const std::vector<float>& ours, const std::vector<float>& theirs) {
    constexpr float kInaudible = 1e-6F;  // of the maximum
    const float floor = kInaudible * *std::max_element(ours.begin(), ours.end());
    std::size_t different = 0;
    for (std::size_t i = 0; i < ours.size(); ++i)
        if (!(std::abs(ours[i] - theirs[i]) <= std::max(1e-4F * ours[i], floor))) ++different;
    return different <= ours.size() / 400;
}

Limit::Limit() {
    std::vector<float> ours(velmor::kMelCells);
    velmor::ChunkConverter().convert(samples, ours);
    chain.convert(samples, mel);
    if (agree(ours, mel)) return;
    std::fprintf(stderr, "the limit does not convert a chunk as the library does\n");
    std::exit(1);
}

Limit& limit() {
    static Limit instance;
    return instance;
}

void scan(Limit& l) {
    velmor::Scan result;
    l.chain.scan(l.samples, result);
    benchmark::DoNotOptimize(result);
}

void transforms(Limit& l) {
    l.chain.transform(l.samples);
}

void analyse(Limit& l) {
    l.chain.analyse(l.samples);
}

void synthesise(Limit& l) {
    l.chain.synthesise(l.clean);
}

void mel(Limit& l) {
    l.chain.mel(l.samples, l.mel);
}

void convert(Limit& l) {
    l.chain.convert(l.samples, l.mel);
}

void limit(benchmark::State& state, void (*step)(Limit&)) {
    Limit& work = limit();
    convert(work);
    while (state.KeepRunning()) step(work);
}

BENCHMARK_CAPTURE(limit, scan, scan)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(limit, transforms256, transforms)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(limit, transforms256AndMask, analyse)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(limit, smoothingAndInverse, synthesise)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(limit, mel, mel)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(limit, chunk, convert)->Unit(benchmark::kMillisecond);

}  // namespace
