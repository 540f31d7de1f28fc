#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace VelmorService {

/// The shape of one uploaded mel spectrogram, and of its overview.
namespace Mel {
inline constexpr std::size_t kBands = 20;
inline constexpr std::size_t kFrames = 1201;
/// An overview column is the mean power of 300 frames, 7.5 seconds; the last one takes the odd frame too.
inline constexpr std::size_t kOverviewColumns = 4;
inline constexpr std::size_t kChunkSeconds = 30;
}  // namespace Mel

/// The payload of a .npy file: 20 x 1201 little-endian 32-bit floats, band-major. Takes version 1 headers
/// with shape (1, 20, 1201), with and without padding; throws ApiError 400 with the reason for anything else.
std::string_view melPayload(std::string_view npy);

/// 20 x 4 bytes, band-major: 0 for -100 dB and below up to 255 for +50 dB and above, linear in decibels.
std::string melOverview(std::string_view payload);

}  // namespace VelmorService
