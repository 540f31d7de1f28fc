#include "Preprocessor/Preprocessor.hpp"

#include "Preprocessor/Assert.hpp"
#include "Preprocessor/Npy.hpp"

#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace Velmor {
namespace {

constexpr double kChunkRate = velmor::kSampleRate;
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
    if (chunk.sampleRate() != kChunkRate)
        throwFormat("sample rate", decimal(kChunkRate), decimal(chunk.sampleRate()));
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

// Without memory for them it throws the given case.
template <class Case>
std::vector<float> makeFloats(std::size_t count) {
    try {
        return std::vector<float>(count);
    } catch (const std::bad_alloc&) {
        throw PreprocessorError(Case{});
    }
}

std::vector<float> readChunk(const std::string& location, ChunkStore& store) {
    const std::unique_ptr<ChunkReader> chunk = store.openChunk(location);
    checkFormat(*chunk);
    auto buffer = makeFloats<PreprocessorError::melFormat>(kBufferFrames);
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

std::vector<float> convertInFastForm(const velmor::ConverterWrapper& converter,
                                     std::span<const float, velmor::kChunkSamples> chunk) {
    auto mel = makeFloats<PreprocessorError::convertMel>(velmor::kMelCells);
    if (!converter.convertChunk(chunk, std::span<float, velmor::kMelCells>(mel)))
        throw PreprocessorError(PreprocessorError::noiseReduction{});
    return mel;
}

// Decides which form converts. Only single chunks have a mel spectrogram, and they take the fast form; the
// plain one would come to the same empty result for more of them, after a noise reduction that nobody hears.
std::vector<float> melOf(const velmor::ConverterWrapper& converter, std::span<const float> samples) {
    if (samples.empty()) throw PreprocessorError(PreprocessorError::noiseReduction{});
    if (samples.size() != velmor::kChunkSamples) return {};
    return convertInFastForm(converter, samples.first<velmor::kChunkSamples>());
}

}  // namespace

std::vector<std::byte> melFileImage(const velmor::ConverterWrapper& converter,
                                    std::span<const float> samples) {
    if (samples.size() % velmor::kChunkSamples != 0)
        throw PreprocessorError(PreprocessorError::arrayLength{});
    VELMOR_ASSERT(samples.size() <= std::numeric_limits<std::int32_t>::max());
    const std::vector<float> mel = melOf(converter, samples);
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
