#include "Values.hpp"

#include <array>
#include <cstdio>
#include <ctime>

namespace VelmorApp {
namespace {

using std::chrono::seconds;

constexpr std::int64_t kNanosPerSecond = 1'000'000'000;
constexpr std::int64_t kMaxSeconds = 366LL * 24 * 3600;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// A cursor over a text; every reader leaves it where it was when it fails.
class Reader {
  public:
    explicit Reader(std::string_view text) : rest_(text) {}

    bool done() const { return rest_.empty(); }
    bool skip(char c) {
        if (rest_.empty() || rest_.front() != c) return false;
        rest_.remove_prefix(1);
        return true;
    }
    bool startsWithDigit() const { return !rest_.empty() && isDigit(rest_.front()); }
    char take() {
        const char c = rest_.front();
        rest_.remove_prefix(1);
        return c;
    }

    /// Exactly `digits` digits.
    std::optional<int> number(std::size_t digits) {
        if (rest_.size() < digits) return {};
        int value = 0;
        for (std::size_t i = 0; i < digits; ++i) {
            if (!isDigit(rest_[i])) return {};
            value = value * 10 + (rest_[i] - '0');
        }
        rest_.remove_prefix(digits);
        return value;
    }

    /// The digits behind a point as nanoseconds; those beyond the ninth do not count.
    std::int64_t fraction() {
        std::int64_t nanos = 0;
        for (std::int64_t unit = kNanosPerSecond / 10; startsWithDigit(); unit /= 10)
            nanos += unit * (take() - '0');
        return nanos;
    }

  private:
    std::string_view rest_;
};

std::int64_t secondsOf(char unit) {
    switch (unit) {
        case 'h':
            return 3600;
        case 'm':
            return 60;
        case 's':
            return 1;
        default:
            return 0;
    }
}

// One "90m" of a duration, as nanoseconds; `above` is the unit before it.
std::optional<std::int64_t> durationPart(Reader& reader, std::int64_t& above) {
    if (!reader.startsWithDigit()) return {};
    std::int64_t whole = 0;
    while (reader.startsWithDigit()) {
        whole = whole * 10 + (reader.take() - '0');
        if (whole > kMaxSeconds) return {};
    }
    std::int64_t nanos = 0;
    if (reader.skip('.')) {
        if (!reader.startsWithDigit()) return {};
        nanos = reader.fraction();
    }
    std::int64_t unit = 1;
    if (reader.done()) {
        if (above != INT64_MAX) return {};  // "1h30" may mean minutes or seconds
    } else {
        unit = secondsOf(reader.take());
    }
    if (unit == 0 || unit >= above || whole * unit > kMaxSeconds) return {};
    above = unit;
    return whole * unit * kNanosPerSecond + nanos * unit;
}

struct Zone {
    bool given = false;
    seconds offset{};
};

std::optional<Zone> readZone(Reader& reader) {
    if (reader.done()) return Zone{};
    if (reader.skip('Z')) return Zone{true, {}};
    const bool west = reader.skip('-');
    if (!west && !reader.skip('+')) return {};
    const auto hours = reader.number(2);
    reader.skip(':');
    const auto minutes = hours ? reader.number(2) : std::nullopt;
    if (!minutes || *hours > 14 || *minutes > 59) return {};
    const seconds offset{*hours * 3600 + *minutes * 60};
    return Zone{true, west ? -offset : offset};
}

std::optional<std::chrono::year_month_day> readDate(Reader& reader) {
    const auto year = reader.number(4);
    if (!year || !reader.skip('-')) return {};
    const auto month = reader.number(2);
    if (!month || !reader.skip('-')) return {};
    const auto day = reader.number(2);
    if (!day) return {};
    const std::chrono::year_month_day date{std::chrono::year{*year},
                                           std::chrono::month{static_cast<unsigned>(*month)},
                                           std::chrono::day{static_cast<unsigned>(*day)}};
    return date.ok() ? std::optional(date) : std::nullopt;
}

std::optional<Nanoseconds> readTimeOfDay(Reader& reader) {
    const auto hour = reader.number(2);
    if (!hour || !reader.skip(':')) return {};
    const auto minute = reader.number(2);
    std::optional<int> second = 0;
    std::int64_t nanos = 0;
    if (minute && reader.skip(':')) {
        second = reader.number(2);
        if (second && reader.skip('.')) nanos = reader.fraction();
    }
    if (!minute || !second || *hour > 23 || *minute > 59 || *second > 59) return {};
    return seconds{*hour * 3600 + *minute * 60 + *second} + Nanoseconds{nanos};
}

std::optional<Velmor::WallTime> localTime(const std::chrono::year_month_day& date, Nanoseconds time) {
    const auto whole = std::chrono::floor<seconds>(time);
    std::tm fields{};
    fields.tm_year = static_cast<int>(date.year()) - 1900;
    fields.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    fields.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    fields.tm_sec = static_cast<int>(whole.count() % 60);
    fields.tm_min = static_cast<int>(whole.count() / 60 % 60);
    fields.tm_hour = static_cast<int>(whole.count() / 3600);
    fields.tm_isdst = -1;
    const std::time_t result = std::mktime(&fields);
    return Velmor::WallTime{seconds{result} + (time - whole)};
}

// Not by strftime, which writes the year 1 as "1".
std::string timeText(const std::tm& fields, char between, const char* end) {
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d%c%02d:%02d:%02d%s", fields.tm_year + 1900,
                  fields.tm_mon + 1, fields.tm_mday, between, fields.tm_hour, fields.tm_min, fields.tm_sec,
                  end);
    return text.data();
}

}  // namespace

std::optional<Nanoseconds> parseDuration(std::string_view text) {
    Reader reader(text);
    if (reader.done()) return {};
    std::int64_t above = INT64_MAX;
    std::int64_t total = 0;
    while (!reader.done()) {
        const auto part = durationPart(reader, above);
        if (!part) return {};
        total += *part;
    }
    if (total > kMaxSeconds * kNanosPerSecond) return {};
    return Nanoseconds{total};
}

std::optional<Velmor::WallTime> parseTime(std::string_view text) {
    Reader reader(text);
    const auto date = readDate(reader);
    if (!date || (!reader.skip('T') && !reader.skip(' '))) return {};
    const auto time = readTimeOfDay(reader);
    const auto zone = time ? readZone(reader) : std::nullopt;
    // Years that the nanosecond clock can hold with room to spare.
    const int year = static_cast<int>(date->year());
    if (!zone || !reader.done() || year < 1900 || year > 2200) return {};
    if (!zone->given) return localTime(*date, *time);
    return Velmor::WallTime{std::chrono::sys_days{*date}.time_since_epoch() + *time - zone->offset};
}

bool isDate(std::string_view text) {
    Reader reader(text);
    return readDate(reader) && reader.done();
}

std::optional<Stretch> parseStretch(std::string_view text) {
    const auto dash = text.find('-');
    if (dash == std::string_view::npos) return {};
    const auto from = parseDuration(text.substr(0, dash));
    const auto to = parseDuration(text.substr(dash + 1));
    if (!from || !to || *from >= *to) return {};
    return Stretch{*from, *to};
}

std::string durationText(Nanoseconds duration) {
    const auto total = std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
    const auto whole = total / 1000;
    std::array<char, 64> text{};
    if (total < 10'000 && total % 1000 != 0)
        std::snprintf(text.data(), text.size(), "%.1f s", static_cast<double>(total) / 1000.0);
    else if (whole < 60)
        std::snprintf(text.data(), text.size(), "%lld s", static_cast<long long>(whole));
    else if (whole < 3600)
        std::snprintf(text.data(), text.size(), "%lld min %02lld s", static_cast<long long>(whole / 60),
                      static_cast<long long>(whole % 60));
    else
        std::snprintf(text.data(), text.size(), "%lld h %02lld min", static_cast<long long>(whole / 3600),
                      static_cast<long long>(whole / 60 % 60));
    std::string result = text.data();
    if (whole >= 3600 && whole % 60 != 0) {
        std::snprintf(text.data(), text.size(), " %02lld s", static_cast<long long>(whole % 60));
        result += text.data();
    }
    return result;
}

std::string localTimeText(std::chrono::sys_seconds time) {
    const std::time_t whole = time.time_since_epoch().count();
    std::tm fields{};
    localtime_r(&whole, &fields);
    return timeText(fields, ' ', "");
}

std::string isoTimeText(std::chrono::sys_seconds time) {
    const std::time_t whole = time.time_since_epoch().count();
    std::tm fields{};
    gmtime_r(&whole, &fields);
    return timeText(fields, 'T', "Z");
}

std::string rangesText(const std::vector<std::int64_t>& numbers) {
    std::string text;
    for (std::size_t i = 0; i < numbers.size();) {
        std::size_t last = i;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) ++last;
        if (!text.empty()) text += ", ";
        text += std::to_string(numbers[i]);
        if (last > i) text += "-" + std::to_string(numbers[last]);
        i = last + 1;
    }
    return text;
}

}  // namespace VelmorApp
