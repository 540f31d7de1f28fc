/// Facts about the device that requests, log lines and file names carry.
#pragma once

#include <cstddef>
#include <ctime>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include <Velmor/Export.hpp>
#include <Velmor/Platform/Clock.hpp>

namespace Velmor {

struct DeviceFacts {
    std::string systemName;                 ///< for instance "Debian GNU/Linux"
    std::string systemVersion;              ///< for instance "12"
    std::string model;                      ///< hardware identifier, uname's machine field
    std::optional<std::string> bundleName;  ///< name of the host application
};

/// May be called on any thread; does not throw.
class Device {
  public:
    virtual ~Device() = default;
    virtual DeviceFacts facts() const = 0;
    /// IANA name of the current time zone, for instance "Europe/Berlin".
    virtual std::string timeZone() const = 0;
    /// The first of the user's preferred languages, as "en", "ar_EG" or "pt-BR".
    virtual std::string language() const { return "en"; }
    /// Calendar fields of a time in the current time zone.
    virtual std::tm localTime(WallTime time) const = 0;
    /// Bytes that cannot be guessed.
    virtual void fillRandom(std::span<std::byte> bytes) const = 0;
};

VELMOR_API std::shared_ptr<Device> makeDevice();

}  // namespace Velmor
