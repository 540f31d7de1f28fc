#include "Library.hpp"

#include "Log/LogAPI.hpp"
#include "Recorder/MicrophoneRecorder.hpp"
#include "Reports/ReportQueries.hpp"
#include "Runtime/DefaultPlatform.hpp"
#include "Runtime/ThreadSafety.hpp"
#include "SessionService/SessionsService.hpp"
#include "SleepTrackingManager/SleepTracker.hpp"
#include "VelmorConfig.hpp"

#include <algorithm>
#include <utility>

namespace Velmor {
namespace {

using Request = SessionsService::Request;

Mutex sharedMutex;

// Never destroyed: work of the library may still be under way while the process exits.
std::shared_ptr<Library>& sharedSlot() VELMOR_REQUIRES(sharedMutex) {
    static auto* slot = new std::shared_ptr<Library>;
    return *slot;
}

std::string orDash(const std::optional<std::string>& text) {
    return text.value_or("-");
}

std::string orDash(const std::optional<Url>& url) {
    return url ? url->absoluteString() : "-";
}

}  // namespace

std::shared_ptr<Library> Library::shared() {
    const Lock lock(sharedMutex);
    auto& slot = sharedSlot();
    if (!slot) slot = std::make_shared<Library>(completePlatform({}));
    return slot;
}

void Library::replace(Platform platform, CaptureParts parts) {
    auto next = std::make_shared<Library>(completePlatform(std::move(platform)), std::move(parts));
    const Lock lock(sharedMutex);
    sharedSlot().swap(next);
}

// Shipments have a service of their own, so that they wait for nobody's chunks.
Library::Library(const std::shared_ptr<const Platform>& platform, CaptureParts parts)
    : platform_(platform),
      parts_(std::move(parts)),
      log_(std::make_shared<LogAPI>(platform_)),
      logService_(SessionsService::make(platform_, log_)) {
    log_->setShip([weak = std::weak_ptr(logService_)](LogAPI::Shipment shipment) {
        if (const auto service = weak.lock())
            service->requestAction.send({Request::log{
                std::move(shipment.config), std::move(shipment.sessionId), std::move(shipment.message)}});
    });
}

Library::~Library() = default;

void Library::initVelmorConfig(const std::string& apiKey, const std::optional<std::string>& userId,
                               const std::optional<Url>& baseUrl, const std::optional<Url>& callbackUrl,
                               const std::optional<std::string>& service,
                               const std::shared_ptr<VelmorConfigDelegate>& delegate) {
    auto made = VelmorConfig::make(SessionsService::make(platform_, log_), delegate, log_);
    std::optional<Config> accepted;
    try {
        accepted.emplace(apiKey, userId.value_or(""), baseUrl, callbackUrl, service);
    } catch (const PlatformError&) {
        platform_->mainLoop->post(
            [made, error = VelmorError::unknown{std::current_exception()}] { made->refuse(error); });
        return;
    }
    const Config& config = *accepted;
    sharedTracker(config)->reset();
    auto former = made;
    {
        const Lock lock(mutex_);
        former.swap(slots_.config);
    }
    former.reset();
    made->send({Request::userJoin{userId, config}});
    if (DeveloperMode::isOn()) log_->log(LogAPI::Level::I, "init", "Developer mode is on");
    log_->uploadLog({}, {});
    log_->log(LogAPI::Level::I, "init",
              {"[CALL] initVelmorConfig ", orDash(userId), " ", orDash(baseUrl), " ", orDash(callbackUrl)});
}

void Library::deleteUser(const Config& config) {
    std::shared_ptr<VelmorConfig> current;
    {
        const Lock lock(mutex_);
        current = slots_.config;
    }
    if (current) current->send({Request::userDelete{config}});
    log_->log(LogAPI::Level::I, "delete", {"[CALL] deleteUser ", config.userId()});
}

std::shared_ptr<SleepTracker> Library::sharedTracker(const Config& config) {
    const Lock lock(mutex_);
    if (!slots_.tracker) slots_.tracker = SleepTracker::make(platform_, log_, config, {}, parts_);
    return slots_.tracker;
}

std::shared_ptr<SleepTrackingManager> Library::createSleepTrackingManager(
    const Config& config, const std::weak_ptr<VelmorSleepTrackingManagerDelegate>& delegate) {
    const auto made = SleepTracker::make(platform_, log_, config, delegate, parts_);
    auto former = made;
    {
        const Lock lock(mutex_);
        former.swap(slots_.tracker);
    }
    if (former)
        platform_->mainLoop->post([weak = weak_from_this(), former = std::move(former)] {
            if (const auto self = weak.lock()) self->keepWhileClosing(former);
        });
    log_->log(LogAPI::Level::I, "tracking", "[CALL] createSleepTrackingManager");
    return made;
}

void Library::keepWhileClosing(const std::shared_ptr<SleepTracker>& tracker) {
    {
        const Lock lock(mutex_);
        slots_.closing.push_back(tracker);
    }
    tracker->whenNothingIsClosing([weak = weak_from_this(), address = tracker.get()] {
        const auto self = weak.lock();
        if (!self) return;
        std::shared_ptr<SleepTracker> done;
        const Lock lock(self->mutex_);
        auto& closing = self->slots_.closing;
        const auto place =
            std::ranges::find_if(closing, [&](const auto& held) { return held.get() == address; });
        if (place == closing.end()) return;
        done = std::move(*place);  // released after unlocking
        closing.erase(place);
    });
}

std::shared_ptr<Reports> Library::createReports(const Config& config) {
    const Lock lock(mutex_);
    if (slots_.reports)
        slots_.reports->setConfig(config);
    else
        slots_.reports = ReportQueries::make(platform_, log_, config);
    return slots_.reports;
}

std::shared_ptr<Recorder> Library::createRecorder(const std::weak_ptr<VelmorRecordingDelegate>& delegate) {
    const auto recorder = MicrophoneRecorder::make(platform_, log_, delegate, parts_);
    auto former = recorder;
    {
        const Lock lock(mutex_);
        slots_.recorder.swap(former);
    }
    if (former) platform_->mainLoop->post([former] { former->clearDelegate(); });
    return recorder;
}

}  // namespace Velmor
