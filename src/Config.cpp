#include "BuildSettings.hpp"
#include "BuiltInUrl.hpp"
#include "Runtime/Text.hpp"

#include <algorithm>
#include <atomic>
#include <utility>

#include <Velmor/Config.hpp>
#include <Velmor/Error.hpp>

namespace Velmor {
namespace {

std::atomic<bool> developerMode{false};

const Url& productionUrl() {
    static const auto* const url = new Url(builtInUrl(BuildSettings::kApiUrl));
    return *url;
}

Url resolve(const std::optional<Url>& given) {
    const Url& base = given ? *given : productionUrl();
    return DeveloperMode::isOn() ? base.replacingPath("/mock") : base;
}

// The text itself may be a secret.
std::string checked(std::string text, const char* what) {
    const char* fault = nullptr;
    if (std::ranges::any_of(text, isControl)) fault = " holds a control character";
    if (!isUtf8(text)) fault = " is not UTF-8";
    if (fault) throw PlatformError(PlatformError::Kind::badRequest, what + std::string(fault));
    return text;
}

std::optional<std::string> checked(std::optional<std::string> text, const char* what) {
    if (text) text = checked(std::move(*text), what);
    return text;
}

}  // namespace

bool DeveloperMode::isOn() noexcept {
    return developerMode.load();
}

void DeveloperMode::setOn(bool on) noexcept {
    developerMode.store(on);
}

Config::Config(std::string apiKey, std::string userId, const std::optional<Url>& baseUrl,
               std::optional<Url> callbackUrl, std::optional<std::string> service)
    : userId_(checked(std::move(userId), "the user id")),
      apiKey_(checked(std::move(apiKey), "the API key")),
      baseUrl_(resolve(baseUrl)),
      callbackUrl_(std::move(callbackUrl)),
      service_(checked(std::move(service), "the service's name")) {}

Config Config::withUserId(std::string userId) const {
    return Config(apiKey_, std::move(userId), baseUrl_, callbackUrl_, service_);
}

}  // namespace Velmor
