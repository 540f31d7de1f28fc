#include "Preprocessor/Preprocessor.hpp"

#include "Preprocessor/Assert.hpp"
#include "Preprocessor/MelSpectrogram.hpp"
#include "Preprocessor/Npy.hpp"

#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <utility>

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

}  // namespace

std::vector<std::byte> melFileImage(const velmor::ConverterWrapper& converter,
                                    std::span<const float> samples) {
    if (samples.size() % velmor::kChunkSamples != 0)
        throw PreprocessorError(PreprocessorError::arrayLength{});
    VELMOR_ASSERT(samples.size() <= std::numeric_limits<std::int32_t>::max());
    if (samples.empty()) throw PreprocessorError(PreprocessorError::noiseReduction{});
    std::vector<float> mel;
    if (samples.size() == velmor::kChunkSamples)
        mel = converter.convertChunk(samples.first<velmor::kChunkSamples>());
    const auto chunks = static_cast<std::int64_t>(mel.size() / velmor::kMelCells);
    return velmor::Npy({chunks, velmor::kMelBands, velmor::kMelFrames}, mel, velmor::NpyByteOrder::native,
                       false)
        .format();
}

Preprocessor::Preprocessor(const std::shared_ptr<ChunkStore>& store) : store_(store) {}

std::string Preprocessor::convert(const std::string& from) {
    return withErrorsMapped([&] {
        const std::vector<float> buffer = readChunk(from);
        std::string into = outputLocation();
        convert(std::span(buffer).first(velmor::kChunkSamples), into);
        return into;
    });
}

void Preprocessor::convert(std::span<const float> samples, const std::string& into) {
    withErrorsMapped([&] { store_->write(into, melFileImage(converter_, samples)); });
}

std::vector<float> Preprocessor::readChunk(const std::string& location) {
    const std::unique_ptr<ChunkReader> chunk = store_->openChunk(location);
    checkFormat(*chunk);
    std::vector<float> buffer(kBufferFrames);
    if (chunk->read(buffer) < velmor::kChunkSamples)
        throw PreprocessorError(PreprocessorError::channelData{});
    return buffer;
}

std::string Preprocessor::outputLocation() {
    const std::string directory = store_->temporaryDirectory();
    const std::string time = store_->mediumTime();
    if (directory.empty() || time.empty()) throw PreprocessorError(PreprocessorError::melFile{});
    return std::string(directory).append("result-").append(time).append(".mel");
}

}  // namespace Velmor
