// Times whole conversions of one chunk for a comparison with other programs.
//   velmor-chunk-bench chunk.f32 RUNS
// chunk.f32 holds 480,000 samples as raw 32-bit floats. After two runs to warm up, every run prints a line
//   time <tab> chain, denoise or mel <tab> velmor <tab> milliseconds
// where `chain` is from samples to the finished .npy file, both in memory, and the others are its two halves.
// At the end it prints the peak of the process's resident memory in KiB.

#include "Preprocessor/Fast/ChunkConverter.hpp"
#include "Preprocessor/Plain/MelSpectrogram.hpp"
#include "Preprocessor/Preprocessor.hpp"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

bool load(const char* path, std::vector<float>& samples) {
    std::ifstream in(path, std::ios::binary);
    const auto bytes = static_cast<std::streamsize>(samples.size() * sizeof(float));
    return in.read(reinterpret_cast<char*>(samples.data()), bytes).gcount() == bytes;
}

template <class Run>
void time(const char* what, int runs, const Run& run) {
    run();
    run();
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        run();
        const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
        std::printf("time\t%s\tvelmor\t%.5f\n", what, elapsed.count());
    }
}

long peakKiB() {
    std::ifstream in("/proc/self/status");
    for (std::string line; std::getline(in, line);)
        if (line.starts_with("VmHWM:")) return std::atol(line.c_str() + 6);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<float> samples(velmor::kChunkSamples);
    if (argc != 3 || !load(argv[1], samples)) {
        std::fprintf(stderr, "usage: velmor-chunk-bench chunk.f32 RUNS\n");
        return 2;
    }
    const int runs = std::atoi(argv[2]);
    {
        const velmor::ConverterWrapper converter;
        time("chain", runs, [&] { return Velmor::melFileImage(converter, samples).size(); });
    }
    velmor::ChunkConverter converter;
    std::vector<float> clean(velmor::kChunkSamples);
    std::vector<float> mel(velmor::kMelCells);
    time("denoise", runs, [&] { converter.denoise(samples, clean); });
    time("mel", runs, [&] { converter.mel(clean, mel); });
    std::printf("peak\tKiB\tvelmor\t%ld\n", peakKiB());
}
