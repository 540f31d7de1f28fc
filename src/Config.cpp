#include "BuildSettings.hpp"
#include "BuiltInUrl.hpp"

#include <atomic>
#include <utility>

#include <Velmor/Config.hpp>

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

}  // namespace

bool DeveloperMode::isOn() noexcept {
    return developerMode.load();
}

void DeveloperMode::setOn(bool on) noexcept {
    developerMode.store(on);
}

Config::Config(std::string apiKey, std::string userId, const std::optional<Url>& baseUrl,
               std::optional<Url> callbackUrl, std::optional<std::string> service)
    : userId_(std::move(userId)),
      apiKey_(std::move(apiKey)),
      baseUrl_(resolve(baseUrl)),
      callbackUrl_(std::move(callbackUrl)),
      service_(std::move(service)) {}

Config Config::withUserId(std::string userId) const {
    return Config(apiKey_, std::move(userId), baseUrl_, callbackUrl_, service_);
}

}  // namespace Velmor
