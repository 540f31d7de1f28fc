// The header of RIFF/WAVE files of 32-bit floats: written for chunk files, read back from any file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <Velmor/Platform/Files.hpp>

namespace Velmor {

constexpr std::size_t kWaveHeaderBytes = 56;

struct WaveFormat {
    std::uint32_t sampleRate = 0;    ///< Hz
    std::uint16_t channelCount = 0;  ///< interleaved
    std::int64_t frames = 0;
};

/// RIFF, `fmt ` (3, IEEE float), `fact` and the head of `data`. The length is to fit into 32 bits.
std::array<std::byte, kWaveHeaderBytes> waveHeader(const WaveFormat& format);

/// Reads from the start of a file up to the first byte of its frames. Throws PlatformError when the file is
/// not RIFF/WAVE with 32-bit floats, or shorter than its header says.
WaveFormat readWaveHeader(File& file);

}  // namespace Velmor
