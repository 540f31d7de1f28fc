#include "service/Dates.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace VelmorService {

namespace {

constexpr std::string_view kZoneDirectory = "/usr/share/zoneinfo/";

/// Reads fixed-width fields from the front of a text.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    int number(std::size_t digits) {
        int value = 0;
        const auto field = rest_.substr(0, digits);
        const bool whole = field.size() == digits && field.front() != '-';
        const auto* end = field.data() + field.size();
        const auto [at, error] = std::from_chars(field.data(), end, value);
        ok_ = ok_ && whole && error == std::errc() && at == end;
        rest_.remove_prefix(field.size());
        return value;
    }
    void expect(char c) {
        ok_ = ok_ && rest_.starts_with(c);
        rest_.remove_prefix(std::min<std::size_t>(1, rest_.size()));
    }
    bool skip(char c) {
        const bool there = rest_.starts_with(c);
        rest_.remove_prefix(there ? 1 : 0);
        return there;
    }
    void skipDigits() {
        const auto end = std::min(rest_.find_first_not_of("0123456789"), rest_.size());
        ok_ = ok_ && end > 0;
        rest_.remove_prefix(end);
    }
    bool ok() const { return ok_; }
    bool atEnd() const { return rest_.empty(); }

  private:
    std::string_view rest_;
    bool ok_ = true;
};

std::optional<std::chrono::sys_days> scanDay(Scanner& scan) {
    using namespace std::chrono;
    const int y = scan.number(4);
    scan.expect('-');
    const int m = scan.number(2);
    scan.expect('-');
    const int d = scan.number(2);
    const year_month_day date{year{y}, month{static_cast<unsigned>(m)}, day{static_cast<unsigned>(d)}};
    return scan.ok() && date.ok() ? std::optional(sys_days(date)) : std::nullopt;
}

std::optional<std::int64_t> scanOffset(Scanner& scan) {
    if (scan.skip('Z')) {
        return 0;
    }
    const int sign = scan.skip('-') ? -1 : 1;
    if (sign > 0) {
        scan.expect('+');
    }
    const int hours = scan.number(2);
    scan.skip(':');
    const int minutes = scan.number(2);
    return scan.ok() && hours < 24 && minutes < 60 ? std::optional(sign * (hours * 3600 + minutes * 60))
                                                   : std::nullopt;
}

std::string formatDay(std::chrono::sys_days when) {
    const std::chrono::year_month_day date(when);
    std::array<char, 32> text{};
    const int length =
        std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return {text.data(), static_cast<std::size_t>(std::max(length, 0))};
}

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
    using namespace std::chrono;
    Scanner scan(text);
    const auto day = scanDay(scan);
    scan.expect('T');
    const int h = scan.number(2);
    scan.expect(':');
    const int m = scan.number(2);
    scan.expect(':');
    const int s = scan.number(2);
    if (scan.skip('.')) {
        scan.skipDigits();
    }
    const auto offset = scanOffset(scan);
    if (!day || !offset || !scan.ok() || !scan.atEnd() || h > 23 || m > 59 || s > 60) {
        return std::nullopt;
    }
    return sys_seconds(*day).time_since_epoch().count() + h * 3600 + m * 60 + s - *offset;
}

std::string formatInstant(Instant instant) {
    using namespace std::chrono;
    const sys_seconds when{seconds(instant)};
    const auto midnight = floor<days>(when);
    const auto inDay = (when - midnight).count();
    std::array<char, 16> time{};
    std::snprintf(time.data(), time.size(), "T%02d:%02d:%02dZ", static_cast<int>(inDay / 3600),
                  static_cast<int>(inDay / 60 % 60), static_cast<int>(inDay % 60));
    return formatDay(midnight) + time.data();
}

bool isDay(std::string_view text) {
    Scanner scan(text);
    return scanDay(scan) && scan.atEnd();
}

std::string dayOf(Instant instant, std::string_view timezone) {
    using namespace std::chrono;
    return formatDay(floor<days>(sys_seconds{seconds(instant + utcOffset(instant, timezone))}));
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
