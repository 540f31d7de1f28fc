// The entry points: each is one call of the library in use.
#include "Library.hpp"

#include <utility>

#include <Velmor/Velmor.hpp>

namespace Velmor {

void initVelmorConfig(const std::string& apiKey, const std::optional<std::string>& userId,
                      const std::optional<Url>& baseUrl, const std::optional<Url>& callbackUrl,
                      const std::optional<std::string>& service,
                      const std::shared_ptr<VelmorConfigDelegate>& delegate) {
    Library::shared()->initVelmorConfig(apiKey, userId, baseUrl, callbackUrl, service, delegate);
}

void initVelmorConfig(const std::string& apiKey, const std::shared_ptr<VelmorConfigDelegate>& delegate) {
    initVelmorConfig(apiKey, {}, {}, {}, {}, delegate);
}

void deleteUser(const Config& config) {
    Library::shared()->deleteUser(config);
}

std::shared_ptr<SleepTrackingManager> createSleepTrackingManager(
    const Config& config, const std::weak_ptr<VelmorSleepTrackingManagerDelegate>& delegate) {
    return Library::shared()->createSleepTrackingManager(config, delegate);
}

std::shared_ptr<Reports> createReports(const Config& config) {
    return Library::shared()->createReports(config);
}

std::shared_ptr<Recorder> createRecorder(const std::weak_ptr<VelmorRecordingDelegate>& delegate) {
    return Library::shared()->createRecorder(delegate);
}

void setPlatform(Platform platform) {
    Library::replace(std::move(platform));
}

}  // namespace Velmor
