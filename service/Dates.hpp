#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VelmorService {

/// Seconds since 1970-01-01T00:00:00Z.
using Instant = std::int64_t;

/// In any form of ISO 8601 that the library reads; a fraction of a second is cut off.
std::optional<Instant> parseInstant(std::string_view text);
/// The same in UTC with "Z", whole seconds.
std::string formatInstant(Instant instant);

/// Whether the text is a calendar day "yyyy-MM-dd" that exists.
bool isDay(std::string_view text);
/// The calendar day of an instant in a time zone.
std::string dayOf(Instant instant, std::string_view timezone);
/// Seconds that local time is ahead of UTC, from the system's zone files; 0 for a zone that they do not know.
std::int64_t utcOffset(Instant instant, std::string_view timezone);

}  // namespace VelmorService
