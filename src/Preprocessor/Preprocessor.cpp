#include "Preprocessor/Preprocessor.hpp"

#include "Preprocessor/Assert.hpp"
#include "Preprocessor/MelSpectrogram.hpp"
#include "Preprocessor/Npy.hpp"

#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <utility>
#include <variant>

namespace Velmor {
namespace {

constexpr double kSampleRate = 16000.0;
constexpr int kChannelCount = 1;
constexpr std::size_t kBufferFrames = velmor::kChunkSamples + 256;

// The shortest decimal that reads back the same, with a fraction even when it is whole: "44100.0".
std::string decimal(double value) {
    std::array<char, 32> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
    std::string digits(text.data(), result.ptr);
    if (digits.find_first_not_of("-0123456789") == std::string::npos) digits += ".0";
    return digits;
}

[[noreturn]] void throwFormat(const std::string& what, const std::string& expected,
                              const std::string& found) {
    auto text = std::string("request ").append(what).append(" is ").append(expected);
    throw PreprocessorError(PreprocessorError::pcmFormat{text.append(", but input is ").append(found)});
}

void checkFormat(const ChunkReader& chunk) {
    if (chunk.sampleRate() != kSampleRate)
        throwFormat("sample rate", decimal(kSampleRate), decimal(chunk.sampleRate()));
    if (chunk.channelCount() != kChannelCount)
        throwFormat("channelCount count", std::to_string(kChannelCount),
                    std::to_string(chunk.channelCount()));
    if (chunk.length() != static_cast<std::int64_t>(velmor::kChunkSamples))
        throwFormat("file length", decimal(static_cast<double>(velmor::kChunkSamples)),
                    std::to_string(chunk.length()));
}

// Runs a step; whatever it throws that is not ours yet becomes `system`.
template <class Step>
auto withErrorsMapped(const Step& step) {
    try {
        return step();
    } catch (const PreprocessorError&) {
        throw;
    } catch (...) {
        throw PreprocessorError(PreprocessorError::system{std::current_exception()});
    }
}

std::vector<float> bufferForChunk() {
    try {
        return std::vector<float>(kBufferFrames);
    } catch (const std::bad_alloc&) {
        throw PreprocessorError(PreprocessorError::melFormat{});
    }
}

std::vector<float> readChunk(const std::string& location, ChunkStore& store) {
    const std::unique_ptr<ChunkReader> chunk = store.openChunk(location);
    checkFormat(*chunk);
    auto buffer = bufferForChunk();
    if (chunk->read(buffer) < velmor::kChunkSamples)
        throw PreprocessorError(PreprocessorError::channelData{});
    return buffer;
}

// Whatever is in the way of a location, no store says more than that there is none.
std::string outputLocation(ChunkStore& store) {
    try {
        const std::string directory = store.temporaryDirectory();
        const std::string time = store.mediumTime();
        if (!directory.empty() && !time.empty())
            return std::string(directory).append("result-").append(time).append(".mel");
    } catch (...) {
    }
    throw PreprocessorError(PreprocessorError::melFile{});
}

std::vector<float> melOf(const velmor::ConverterWrapper& converter,
                         std::span<const float, velmor::kChunkSamples> samples) {
    using Step = velmor::ConverterWrapper::Step;
    auto result = converter.convertChunk(samples);
    if (auto* mel = std::get_if<std::vector<float>>(&result)) return std::move(*mel);
    if (std::get<Step>(result) == Step::noiseReduction)
        throw PreprocessorError(PreprocessorError::noiseReduction{});
    throw PreprocessorError(PreprocessorError::convertMel{});
}

}  // namespace

std::vector<std::byte> melFileImage(const velmor::ConverterWrapper& converter,
                                    std::span<const float> samples) {
    if (samples.size() % velmor::kChunkSamples != 0)
        throw PreprocessorError(PreprocessorError::arrayLength{});
    VELMOR_ASSERT(samples.size() <= std::numeric_limits<std::int32_t>::max());
    if (samples.empty()) throw PreprocessorError(PreprocessorError::noiseReduction{});
    std::vector<float> mel;
    if (samples.size() == velmor::kChunkSamples)
        mel = melOf(converter, samples.first<velmor::kChunkSamples>());
    const auto chunks = static_cast<std::int64_t>(mel.size() / velmor::kMelCells);
    return velmor::Npy({chunks, velmor::kMelBands, velmor::kMelFrames}, mel, velmor::NpyByteOrder::native,
                       false)
        .format();
}

const Preprocessor& Preprocessor::shared() {
    static const auto* const made = new Preprocessor;
    return *made;
}

std::string Preprocessor::convert(const std::string& from, ChunkStore& store) const {
    return withErrorsMapped([&] {
        const std::vector<float> buffer = readChunk(from, store);
        std::string into = outputLocation(store);
        convert(std::span(buffer).first(velmor::kChunkSamples), into, store);
        return into;
    });
}

void Preprocessor::convert(std::span<const float> samples, const std::string& into, ChunkStore& store) const {
    withErrorsMapped([&] { store.write(into, melFileImage(converter_, samples)); });
}

}  // namespace Velmor
