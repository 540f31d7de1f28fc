/// What an application is known by at the service, and where the service is.
#pragma once

#include <optional>
#include <string>

#include <Velmor/Export.hpp>
#include <Velmor/Url.hpp>

namespace Velmor {

/// Process-wide switch that sends configurations made from then on to the service's mock.
class VELMOR_API DeveloperMode {
  public:
    /// Read and set from any thread; false at first. Read when a `Config` is constructed, not later.
    static bool isOn() noexcept;
    static void setOn(bool on) noexcept;
};

/// Immutable value: who asks, and where.
class VELMOR_API Config {
  public:
    /// `baseUrl` resolves so: given and developer mode off: unchanged; given and on: its path replaced by
    /// "/mock"; not given: the production service, or its "/mock".
    /// Key, user id and service travel in headers and JSON: throws PlatformError, kind `badRequest`, for one
    /// that holds control characters (a line end behind a key that was read from a file, say) or is not
    /// UTF-8.
    Config(std::string apiKey, std::string userId, const std::optional<Url>& baseUrl,
           std::optional<Url> callbackUrl = {}, std::optional<std::string> service = {});

    /// A configuration constructed from this one for another user; the base URL is resolved again, from this
    /// one's.
    Config withUserId(std::string userId) const;

    const std::string& userId() const noexcept { return userId_; }  ///< empty when the application gave none
    const std::string& apiKey() const noexcept { return apiKey_; }
    const Url& baseUrl() const noexcept { return baseUrl_; }
    const std::optional<Url>& callbackUrl() const noexcept { return callbackUrl_; }
    const std::optional<std::string>& service() const noexcept { return service_; }

    bool operator==(const Config&) const = default;

  private:
    std::string userId_;
    std::string apiKey_;
    Url baseUrl_;
    std::optional<Url> callbackUrl_;
    std::optional<std::string> service_;
};

}  // namespace Velmor
