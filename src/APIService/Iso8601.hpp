// Dates as the service writes and reads them.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include <Velmor/Model.hpp>

namespace Velmor::Iso8601 {

/// "yyyy-MM-ddTHH:mm:ss", then a fraction of the second if there is one, then "Z" or an offset as "+02:00",
/// "+0200" or "+02"; or the basic form "yyyyMMddTHHmmss", whose offset has no colon either. A leap second
/// counts as the second after it, "24:00:00" as the next day's start. None for any other text.
std::optional<Model::Date> parse(std::string_view text);

/// "yyyy-MM-dd", as midnight UTC.
std::optional<std::chrono::sys_days> parseDay(std::string_view text);

/// "yyyy-MM-ddTHH:mm:ssZ".
std::string format(std::chrono::sys_seconds time);
/// Without the fraction.
template <class Duration>
std::string format(std::chrono::sys_time<Duration> time) {
    return format(std::chrono::floor<std::chrono::seconds>(time));
}

/// "yyyy-MM-dd HH:mm:ss" in UTC.
std::string formatPlain(std::chrono::sys_seconds time);

std::string formatDay(std::chrono::sys_days day);

}  // namespace Velmor::Iso8601
