// Dates as the service writes and reads them.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include <Velmor/Platform/Clock.hpp>

namespace Velmor::Iso8601 {

/// "yyyy-MM-ddTHH:mm:ss", then a fraction of the second if there is one, then "Z" or an offset as "+02:00",
/// "+0200" or "+02". A leap second counts as the second after it. None for any other text and for dates
/// outside what a WallTime holds (1677 to 2262).
std::optional<WallTime> parse(std::string_view text);

/// "yyyy-MM-dd", as midnight UTC.
std::optional<std::chrono::sys_days> parseDay(std::string_view text);

/// "yyyy-MM-ddTHH:mm:ssZ", without fraction.
std::string format(WallTime time);

/// "yyyy-MM-dd HH:mm:ss" in UTC.
std::string formatPlain(WallTime time);

std::string formatDay(std::chrono::sys_days day);

}  // namespace Velmor::Iso8601
