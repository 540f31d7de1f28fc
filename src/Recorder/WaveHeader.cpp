#include "Recorder/WaveHeader.hpp"

#include <algorithm>
#include <optional>
#include <span>
#include <string_view>

#include <Velmor/Error.hpp>

namespace Velmor {
namespace {

constexpr std::uint16_t kIeeeFloat = 3;
constexpr std::uint64_t kRiffBytes = 12;
constexpr std::uint64_t kChunkHeadBytes = 8;
constexpr std::uint32_t kFormatBytes = 16;

class Writer {
  public:
    explicit Writer(std::span<std::byte> out) : out_(out) {}

    Writer& tag(std::string_view text) {
        for (const char c : text) put(static_cast<unsigned char>(c), 1);
        return *this;
    }
    Writer& u16(std::uint32_t value) { return put(value, 2); }
    Writer& u32(std::uint64_t value) { return put(value, 4); }

  private:
    Writer& put(std::uint64_t value, std::size_t bytes) {
        for (std::size_t i = 0; i < bytes; ++i) out_[at_++] = static_cast<std::byte>(value >> (8 * i) & 0xff);
        return *this;
    }

    std::span<std::byte> out_;
    std::size_t at_ = 0;
};

std::uint32_t number(std::span<const std::byte> bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = bytes.size(); i-- > 0;)
        value = value << 8 | std::to_integer<std::uint32_t>(bytes[i]);
    return value;
}

bool isTag(std::span<const std::byte> bytes, std::string_view tag) {
    return std::equal(tag.begin(), tag.end(), bytes.begin(),
                      [](char c, std::byte b) { return static_cast<std::byte>(c) == b; });
}

[[noreturn]] void refuse(const char* reason) {
    throw PlatformError(PlatformError::Kind::io, reason);
}

template <std::size_t N>
std::array<std::byte, N> readExactly(File& file) {
    std::array<std::byte, N> bytes{};
    std::size_t count = 0;
    while (count < N) {
        const auto got = file.read(std::span(bytes).subspan(count));
        if (got == 0) refuse("the wave file ends in its header");
        count += got;
    }
    return bytes;
}

WaveFormat readFormat(File& file, std::uint32_t bytes) {
    if (bytes < kFormatBytes) refuse("the wave file's format is too short");
    const auto format = readExactly<kFormatBytes>(file);
    const auto at = [&](std::size_t offset, std::size_t count) {
        return number(std::span(format).subspan(offset, count));
    };
    const auto channels = static_cast<std::uint16_t>(at(2, 2));
    if (at(0, 2) != kIeeeFloat || at(14, 2) != 32 || channels == 0)
        refuse("the wave file does not hold 32-bit floats");
    return {at(4, 4), channels, 0};
}

}  // namespace

std::array<std::byte, kWaveHeaderBytes> waveHeader(const WaveFormat& format) {
    std::array<std::byte, kWaveHeaderBytes> header{};
    const std::uint32_t frameBytes = 4U * format.channelCount;
    const auto dataBytes = static_cast<std::uint64_t>(format.frames) * frameBytes;
    Writer(header)
        .tag("RIFF")
        .u32(kWaveHeaderBytes - kChunkHeadBytes + dataBytes)
        .tag("WAVEfmt ")
        .u32(kFormatBytes)
        .u16(kIeeeFloat)
        .u16(format.channelCount)
        .u32(format.sampleRate)
        .u32(std::uint64_t{format.sampleRate} * frameBytes)
        .u16(frameBytes)
        .u16(32)
        .tag("fact")
        .u32(4)
        .u32(static_cast<std::uint64_t>(format.frames))
        .tag("data")
        .u32(dataBytes);
    return header;
}

WaveFormat readWaveHeader(File& file) {
    const auto riff = readExactly<kRiffBytes>(file);
    if (!isTag(std::span(riff).first(4), "RIFF") || !isTag(std::span(riff).subspan(8), "WAVE"))
        refuse("not a wave file");
    const std::uint64_t size = file.size();
    std::optional<WaveFormat> format;
    std::uint64_t position = kRiffBytes;
    while (true) {
        file.seek(position);
        const auto head = readExactly<kChunkHeadBytes>(file);
        const auto bytes = number(std::span(head).subspan(4));
        position += kChunkHeadBytes;
        if (isTag(head, "fmt ")) format = readFormat(file, bytes);
        if (isTag(head, "data")) {
            if (!format) refuse("the wave file has no format");
            if (bytes > size - position) refuse("the wave file is shorter than it says");
            format->frames = bytes / (4U * format->channelCount);
            return *format;
        }
        position += bytes + bytes % 2;  // chunks start at even offsets
    }
}

}  // namespace Velmor
