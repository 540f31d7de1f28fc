#include "Values.hpp"

#include "APIService/Iso8601.hpp"

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

/// The time at which clocks of the local zone show what clocks of UTC show at `shown`.
Velmor::Model::Date localTime(Velmor::Model::Date shown) {
    const auto day = std::chrono::floor<std::chrono::days>(shown);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(shown - day);
    std::tm fields{};
    fields.tm_year = static_cast<int>(date.year()) - 1900;
    fields.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    fields.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    fields.tm_hour = static_cast<int>(time.hours().count());
    fields.tm_min = static_cast<int>(time.minutes().count());
    fields.tm_sec = static_cast<int>(time.seconds().count());
    fields.tm_isdst = -1;
    return std::chrono::sys_seconds{seconds{std::mktime(&fields)}} + time.subseconds();
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
    constexpr std::string_view kMinutes = "2024-03-05T23:10";
    std::string full(text);
    if (full.size() < kMinutes.size()) return {};
    if (full[10] == ' ') full[10] = 'T';
    if (full.size() == kMinutes.size() || full[kMinutes.size()] != ':') full.insert(kMinutes.size(), ":00");
    const bool isLocal = full.find_first_of("Z+-", kMinutes.size()) == std::string::npos;
    const auto shown = Velmor::Iso8601::parse(isLocal ? full + 'Z' : full);
    // Years that the nanosecond clock can hold with room to spare.
    if (!shown || *shown < std::chrono::sys_days(std::chrono::year(1900) / 1 / 1) ||
        *shown >= std::chrono::sys_days(std::chrono::year(2201) / 1 / 1))
        return {};
    return isLocal ? localTime(*shown) : *shown;
}

bool isDate(std::string_view text) {
    return Velmor::Iso8601::parseDay(text).has_value();
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
    return Velmor::Iso8601::formatPlain(time + seconds{fields.tm_gmtoff});
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
