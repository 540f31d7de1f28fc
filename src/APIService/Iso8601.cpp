#include "APIService/Iso8601.hpp"

#include <array>
#include <cstdint>
#include <cstdio>

namespace Velmor::Iso8601 {
namespace {

using namespace std::chrono;

/// Reads a text from its front; every operation reports whether it found what it was asked for.
class Reader {
  public:
    explicit Reader(std::string_view text) : rest_(text) {}

    bool atEnd() const { return rest_.empty(); }

    bool literal(char c) {
        if (!rest_.starts_with(c)) return false;
        rest_.remove_prefix(1);
        return true;
    }

    bool number(std::size_t digits, int& out) {
        if (rest_.size() < digits) return false;
        out = 0;
        for (const char c : rest_.substr(0, digits)) {
            if (c < '0' || c > '9') return false;
            out = out * 10 + (c - '0');
        }
        rest_.remove_prefix(digits);
        return true;
    }

    /// Digits behind the point, as microseconds; what is finer is dropped.
    bool fraction(microseconds& out) {
        std::int64_t value = 0;
        std::int64_t unit = 1'000'000;
        std::size_t count = 0;
        for (int digit = 0; number(1, digit); ++count) {
            unit /= 10;
            value += digit * unit;
        }
        out = microseconds{value};
        return count > 0;
    }

  private:
    std::string_view rest_;
};

/// Of the two forms, the one with hyphens and colons or the one without.
enum class Form { extended, basic };

bool separator(Reader& reader, Form form, char c) {
    return form == Form::basic || reader.literal(c);
}

bool readDay(Reader& reader, Form form, sys_days& out) {
    int y = 0;
    int m = 0;
    int d = 0;
    if (!reader.number(4, y) || !separator(reader, form, '-') || !reader.number(2, m) ||
        !separator(reader, form, '-') || !reader.number(2, d))
        return false;
    const year_month_day date{year{y}, month{static_cast<unsigned>(m)}, day{static_cast<unsigned>(d)}};
    out = sys_days{date};
    return date.ok();
}

bool readTime(Reader& reader, Form form, microseconds& time) {
    int h = 0;
    int m = 0;
    int s = 0;
    microseconds fraction{};
    if (!reader.number(2, h) || !separator(reader, form, ':') || !reader.number(2, m) ||
        !separator(reader, form, ':') || !reader.number(2, s))
        return false;
    if (reader.literal('.') && !reader.fraction(fraction)) return false;
    time = hours{h} + minutes{m} + seconds{s} + fraction;
    return m <= 59 && s <= 60 && (h <= 23 || time == hours{24});
}

bool readOffset(Reader& reader, Form form, minutes& out) {
    if (reader.literal('Z')) return true;
    const bool east = reader.literal('+');
    if (!east && !reader.literal('-')) return false;
    int h = 0;
    int m = 0;
    if (!reader.number(2, h)) return false;
    if (form == Form::extended && reader.literal(':')) {
        if (!reader.number(2, m)) return false;
    } else if (!reader.atEnd() && !reader.number(2, m)) {
        return false;
    }
    const minutes offset = hours{h} + minutes{m};
    out = east ? offset : -offset;
    return h <= 23 && m <= 59;
}

}  // namespace

std::optional<Model::Date> parse(std::string_view text) {
    const Form form = text.size() > 8 && text[8] == 'T' ? Form::basic : Form::extended;
    Reader reader(text);
    sys_days day;
    microseconds time{};
    minutes offset{};
    if (!readDay(reader, form, day) || !reader.literal('T') || !readTime(reader, form, time) ||
        !readOffset(reader, form, offset) || !reader.atEnd())
        return {};
    return day + time - offset;
}

std::optional<sys_days> parseDay(std::string_view text) {
    Reader reader(text);
    sys_days day;
    if (!readDay(reader, Form::extended, day) || !reader.atEnd()) return {};
    return day;
}

std::string format(sys_seconds time) {
    auto text = formatPlain(time);
    text[text.find(' ')] = 'T';
    return text += 'Z';
}

std::string formatPlain(sys_seconds time) {
    const auto date = floor<days>(time);
    const year_month_day ymd{date};
    const hh_mm_ss clock{time - date};
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(ymd.year()),
                  static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text.data();
}

std::string formatDay(std::chrono::sys_days day) {
    const std::chrono::year_month_day date{day};
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return text.data();
}

}  // namespace Velmor::Iso8601
