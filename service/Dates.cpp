#include "service/Dates.hpp"

#include "APIService/Iso8601.hpp"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace VelmorService {

namespace {

constexpr std::string_view kZoneDirectory = "/usr/share/zoneinfo/";

bool isZoneName(std::string_view name) {
    return !name.empty() && name.size() < 64 && name.front() != '/' &&
           name.find("..") == std::string_view::npos && std::ranges::all_of(name, [](unsigned char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '_' || c == '-' || c == '+' || c == '/';
           });
}

std::int64_t bigEndian(std::string_view bytes, std::size_t at, std::size_t width) {
    std::uint64_t value = (static_cast<unsigned char>(bytes[at]) & 0x80U) != 0 ? ~std::uint64_t{0} : 0;
    for (std::size_t i = 0; i < width; ++i) {
        value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    }
    return static_cast<std::int64_t>(value);
}

/// The six counts of a TZif header (RFC 8536), and the length of the data block that follows it.
struct ZoneHeader {
    static constexpr std::size_t kSize = 44;
    std::size_t utIndicators, standardIndicators, leaps, times, types, letters;

    explicit ZoneHeader(std::string_view at)
        : utIndicators(count(at, 0)),
          standardIndicators(count(at, 1)),
          leaps(count(at, 2)),
          times(count(at, 3)),
          types(count(at, 4)),
          letters(count(at, 5)) {}

    std::size_t blockSize(std::size_t timeWidth) const {
        return times * (timeWidth + 1) + types * 6 + letters + leaps * (timeWidth + 4) + standardIndicators +
               utIndicators;
    }

  private:
    static std::size_t count(std::string_view at, std::size_t index) {
        return static_cast<std::size_t>(bigEndian(at, 20 + index * 4, 4) & 0xFFFFFFF);
    }
};

/// Looks an instant up in the 64-bit block of a TZif file. Beyond its last transition the last offset holds.
std::optional<std::int64_t> offsetIn(std::string_view file, Instant instant) {
    if (file.size() < ZoneHeader::kSize || !file.starts_with("TZif") || file[4] < '2') {
        return std::nullopt;
    }
    const std::size_t second = ZoneHeader::kSize + ZoneHeader(file).blockSize(4);
    if (file.size() < second + ZoneHeader::kSize) {
        return std::nullopt;
    }
    const ZoneHeader header(file.substr(second));
    const auto block = file.substr(second + ZoneHeader::kSize);
    if (block.size() < header.blockSize(8) || header.types == 0) {
        return std::nullopt;
    }
    std::size_t type = 0;
    for (std::size_t i = 0; i < header.times && bigEndian(block, i * 8, 8) <= instant; ++i) {
        type = static_cast<unsigned char>(block[header.times * 8 + i]);
    }
    return type < header.types ? std::optional(bigEndian(block, header.times * 9 + type * 6, 4))
                               : std::nullopt;
}

}  // namespace

std::optional<Instant> parseInstant(std::string_view text) {
    const auto date = Velmor::Iso8601::parse(text);
    if (!date) {
        return std::nullopt;
    }
    return std::chrono::floor<std::chrono::seconds>(*date).time_since_epoch().count();
}

std::string formatInstant(Instant instant) {
    return Velmor::Iso8601::format(std::chrono::sys_seconds{std::chrono::seconds(instant)});
}

bool isDay(std::string_view text) {
    return Velmor::Iso8601::parseDay(text).has_value();
}

std::string dayOf(Instant instant, std::string_view timezone) {
    using namespace std::chrono;
    return Velmor::Iso8601::formatDay(
        floor<days>(sys_seconds{seconds(instant + utcOffset(instant, timezone))}));
}

std::int64_t utcOffset(Instant instant, std::string_view timezone) {
    if (!isZoneName(timezone)) {
        return 0;
    }
    const std::string path = std::string(kZoneDirectory).append(timezone);
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) {
        return 0;
    }
    std::ifstream file(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    return offsetIn(bytes, instant).value_or(0);
}

}  // namespace VelmorService
