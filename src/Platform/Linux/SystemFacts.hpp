// What Linux tells about itself in files and variables, reduced to what may stand in a header.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include <Velmor/Platform/Device.hpp>

namespace Velmor {

/// `text` without anything but printable ASCII.
std::string printable(std::string_view text);

/// First line of a file, printable; empty when there is none.
std::string firstLine(const char* path);

/// System name and version of the first of these files that can be read; what it does not tell stays empty.
DeviceFacts readOsRelease(std::initializer_list<const char*> paths);

/// "ar_EG" for "ar_EG.UTF-8@euro", and for "ar_EG:de" where several are preferred; empty for "C" and "POSIX".
std::string languageOfLocale(std::string_view locale);

/// Whether the zone database knows `name`. "UTC" needs no database.
bool isZone(const std::string& name);

/// "Europe/Berlin" for "/usr/share/zoneinfo/Europe/Berlin" and the like; empty when it is not in there.
std::string zoneOfPath(std::string_view path);

/// Candidate for a zone name from the value of TZ, which may be a name, a path, or a rule such as
/// "CET-1CEST".
std::string zoneOfVariable(std::string_view value);

/// The nearest name for a zone that has none: "Etc/GMT-1" for one hour east of Greenwich, else "UTC".
std::string zoneOfOffset(long seconds);

}  // namespace Velmor
