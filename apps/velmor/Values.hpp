// Reading and writing the small texts of the command line: durations, times, stretches, lists of numbers.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <Velmor/Platform/Clock.hpp>

namespace VelmorApp {

using Nanoseconds = std::chrono::nanoseconds;

/// "8h", "1h30m", "45s", "0.5s" or plain seconds, at most a year. None for anything else.
std::optional<Nanoseconds> parseDuration(std::string_view text);

/// ISO 8601: "2024-03-05T23:10", with seconds, a fraction and a zone ("Z", "+01:00") if wished. A time
/// without a zone is local.
std::optional<Velmor::WallTime> parseTime(std::string_view text);

/// A calendar day, "2024-03-05".
bool isDate(std::string_view text);

/// From and to, seconds from the start.
struct Stretch {
    Nanoseconds from{};
    Nanoseconds to{};
    bool operator==(const Stretch&) const = default;
};
/// "310-385" or "5m10s-6m25s"; it ends after it begins.
std::optional<Stretch> parseStretch(std::string_view text);

/// "8 h 00 min", "1 min 30 s", "45 s", "0.3 s".
std::string durationText(Nanoseconds duration);
/// "2024-03-05 23:10:04" in the local zone.
std::string localTimeText(std::chrono::sys_seconds time);
/// Without the fraction.
template <class Duration>
std::string localTimeText(std::chrono::sys_time<Duration> time) {
    return localTimeText(std::chrono::floor<std::chrono::seconds>(time));
}
/// "0-10, 12, 14-129" of ascending numbers.
std::string rangesText(const std::vector<std::int64_t>& numbers);

}  // namespace VelmorApp
