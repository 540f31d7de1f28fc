#include "service/MelArray.hpp"

#include "service/Http/Message.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace VelmorService {

namespace {

constexpr std::string_view kMagic = "\x93NUMPY";
constexpr std::size_t kPrelude = 10;  // magic, version, header length
constexpr std::size_t kPayload = Mel::kBands * Mel::kFrames * sizeof(float);

[[noreturn]] void refuse(const std::string& reason) {
    throw ApiError(400, ErrorCode::kArray, reason);
}

std::size_t byteAt(std::string_view bytes, std::size_t index) {
    return static_cast<unsigned char>(bytes[index]);
}

/// The header with blanks removed and one kind of quote, so that both common spellings compare equal.
std::string compacted(std::string_view header) {
    std::string text;
    for (const char c : header) {
        if (c != ' ' && c != '\n') {
            text += c == '"' ? '\'' : c;
        }
    }
    return text;
}

void checkHeader(std::string_view header) {
    const std::string text = compacted(header);
    if (text.find("'descr':'<f4'") == std::string::npos && text.find("'descr':'=f4'") == std::string::npos) {
        refuse("the array is not of little-endian 32-bit floats");
    }
    if (text.find("'fortran_order':False") == std::string::npos) {
        refuse("the array is not in C order");
    }
    if (text.find("'shape':(1,20,1201)") == std::string::npos) {
        refuse("the array's shape is not (1, 20, 1201)");
    }
}

float floatAt(std::string_view payload, std::size_t index) {
    std::uint32_t bits = 0;
    for (std::size_t byte = 0; byte < sizeof bits; ++byte) {
        bits |= static_cast<std::uint32_t>(byteAt(payload, index * sizeof bits + byte)) << (8 * byte);
    }
    return std::bit_cast<float>(bits);
}

char level(double meanPower) {
    constexpr double kFloor = -100;
    constexpr double kCeiling = 50;
    const double decibels = 10 * std::log10(std::max(meanPower, 1e-10));
    const double scaled = (decibels - kFloor) / (kCeiling - kFloor) * 255;
    return static_cast<char>(static_cast<unsigned char>(std::clamp(std::round(scaled), 0.0, 255.0)));
}

}  // namespace

std::string_view melPayload(std::string_view npy) {
    if (npy.size() < kPrelude || !npy.starts_with(kMagic)) {
        refuse("the file is no .npy array");
    }
    if (byteAt(npy, 6) != 1 || byteAt(npy, 7) != 0) {
        refuse("the .npy version is not 1.0");
    }
    const std::size_t length = byteAt(npy, 8) + 256 * byteAt(npy, 9);
    if (npy.size() < kPrelude + length) {
        refuse("the .npy header is cut off");
    }
    checkHeader(npy.substr(kPrelude, length));
    npy.remove_prefix(kPrelude + length);
    if (npy.size() != kPayload) {
        refuse("the array has " + std::to_string(npy.size()) + " bytes of data instead of " +
               std::to_string(kPayload));
    }
    return npy;
}

std::string melOverview(std::string_view payload) {
    constexpr std::size_t kSpan = Mel::kFrames / Mel::kOverviewColumns;
    std::string overview;
    for (std::size_t band = 0; band < Mel::kBands; ++band) {
        for (std::size_t column = 0; column < Mel::kOverviewColumns; ++column) {
            const std::size_t from = column * kSpan;
            const std::size_t to = column + 1 == Mel::kOverviewColumns ? Mel::kFrames : from + kSpan;
            double sum = 0;
            for (std::size_t frame = from; frame < to; ++frame) {
                const float value = floatAt(payload, band * Mel::kFrames + frame);
                sum += std::isfinite(value) ? static_cast<double>(value) : 0.0;
            }
            overview += level(sum / static_cast<double>(to - from));
        }
    }
    return overview;
}

}  // namespace VelmorService
