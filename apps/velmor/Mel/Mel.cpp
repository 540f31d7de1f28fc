#include "Commands.hpp"
#include "Interrupt.hpp"
#include "Json.hpp"
#include "Mel/MelImage.hpp"
#include "Preprocessor/Plain/MelSpectrogram.hpp"
#include "Preprocessor/Preprocessor.hpp"
#include "Sound/FileSource.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <vector>

namespace VelmorApp {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kChunkRate = 16'000;

struct Totals {
    std::int64_t files = 0;
    std::int64_t chunks = 0;
};

void writeFile(const fs::path& path, std::span<const std::byte> bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) throw std::runtime_error(path.string() + ": cannot be written");
}

// The array's values are the end of its file.
std::vector<float> cellsOf(std::span<const std::byte> npy) {
    std::vector<float> cells(velmor::kMelCells);
    const auto payload = npy.last(cells.size() * sizeof(float));
    std::memcpy(cells.data(), payload.data(), payload.size());
    return cells;
}

class Converter {
  public:
    Converter(const SharedOptions& shared, const MelOptions& options, Screen& screen)
        : shared_(shared), options_(options), screen_(screen) {}

    void convert(const std::string& file) {
        const auto source = openRecording(file, kChunkRate);
        std::vector<float> chunk(velmor::kChunkSamples);
        std::size_t count = 0;
        std::int64_t number = 0;
        while ((count = source->read(chunk)) == chunk.size() && !interruptRequested()) {
            convertChunk(file, chunk, number++);
            if (const auto frames = source->frames(); frames && *frames > 0)
                screen_.progress(static_cast<double>(number) * static_cast<double>(chunk.size()) /
                                     static_cast<double>(*frames),
                                 file);
        }
        if (!source->failure().empty()) throw InputError(source->failure());
        reportTail(file, count, number);
        ++totals_.files;
    }

    const Totals& totals() const { return totals_; }

  private:
    void convertChunk(const std::string& file, std::span<const float> samples, std::int64_t number) {
        const auto npy = Velmor::melFileImage(converter_, samples);
        const std::string base = outputBase(file, number);
        writeFile(base + ".npy", npy);
        if (options_.png) drawMel(cellsOf(npy), base + ".png");
        ++totals_.chunks;
        if (shared_.json) {
            Json event{{"event", "didWrite"}, {"file", file}, {"chunk", number}, {"npy", base + ".npy"}};
            if (options_.png) event["png"] = base + ".png";
            printJson(event);
        } else {
            std::printf("%s.npy\n", base.c_str());
        }
    }

    std::string outputBase(const std::string& file, std::int64_t number) const {
        std::string digits = std::to_string(number);
        digits.insert(0, digits.size() < 4 ? 4 - digits.size() : 0, '0');
        return (fs::path(options_.outDir) / (fs::path(file).stem().string() + "-" + digits)).string();
    }

    void reportTail(const std::string& file, std::size_t samples, std::int64_t chunks) {
        if (samples == 0) return;
        const auto tail = Nanoseconds{static_cast<std::int64_t>(samples) * 1'000'000'000 / kChunkRate};
        const double seconds = static_cast<double>(samples) / kChunkRate;
        screen_.remark(file + ": the last " + durationText(tail) + " are no whole chunk and were " +
                       (chunks == 0 ? "not converted; nothing was written" : "not converted"));
        if (shared_.json) printJson({{"event", "tail"}, {"file", file}, {"seconds", seconds}});
    }

    const SharedOptions& shared_;
    const MelOptions& options_;
    Screen& screen_;
    const velmor::ConverterWrapper converter_{};
    Totals totals_;
};

// Two recordings of one name would overwrite each other's chunks.
std::string doubledStem(const std::vector<std::string>& files) {
    std::set<std::string> stems;
    for (const auto& file : files)
        if (!stems.insert(fs::path(file).stem().string()).second) return fs::path(file).stem().string();
    return {};
}

}  // namespace

ExitCode mel(const SharedOptions& shared, const MelOptions& options, Screen& screen) {
    if (const auto stem = doubledStem(options.files); !stem.empty()) {
        screen.error("more than one recording would become " + stem + "-NNNN.npy; convert them one by one");
        return ExitCode::usage;
    }
    std::error_code error;
    fs::create_directories(options.outDir, error);
    if (error) {
        screen.error(options.outDir + ": " + error.message());
        return ExitCode::failed;
    }
    Converter converter(shared, options, screen);
    ExitCode code = ExitCode::done;
    for (const auto& file : options.files) {
        try {
            converter.convert(file);
        } catch (const std::exception& problem) {
            screen.error(problem.what());
            code = ExitCode::failed;
        }
        if (interruptRequested()) return ExitCode::interrupted;
    }
    screen.clearProgress();
    if (shared.json)
        printJson({{"event", "summary"},
                   {"files", converter.totals().files},
                   {"chunks", converter.totals().chunks}});
    return code;
}

}  // namespace VelmorApp
