#include "VirtualMicrophoneEngine.hpp"

#include <utility>

namespace Velmor::Testing {

class VirtualMicrophone::Session : public AudioSession {
  public:
    explicit Session(std::shared_ptr<Room> room) : room_(std::move(room)) {}

    void configure(const AudioSessionSettings& settings) override {
        const Lock lock(room_->mutex);
        room_->asked({.what = Asked::configure, .settings = settings});
        if (room_->configureFailure) throw PlatformError(*room_->configureFailure);
        room_->isConfigured = true;
    }

    void activate() override {
        const Lock lock(room_->mutex);
        room_->asked({.what = Asked::activate});
        if (!room_->isConfigured) room_->refuse("an active session that was never configured");
        if (room_->activateFailure) throw PlatformError(*room_->activateFailure);
        room_->isActive = true;
        room_->isInterrupted = false;
    }

    RecordPermission recordPermission() override {
        const Lock lock(room_->mutex);
        return room_->permission;
    }

    void requestRecordPermission(std::function<void(bool)> answer) override {
        const Lock lock(room_->mutex);
        for (const bool granted : room_->permissionAnswers)
            room_->executor->post([answer, granted] { answer(granted); });
        if (!room_->permissionAnswers.empty())
            room_->permission =
                room_->permissionAnswers.front() ? RecordPermission::granted : RecordPermission::denied;
    }

    void observe(Observer observer) override {
        const Lock lock(room_->mutex);
        room_->observer.swap(observer);
    }

  private:
    const std::shared_ptr<Room> room_;
};

VirtualMicrophone::VirtualMicrophone(std::shared_ptr<Executor> executor, std::shared_ptr<const Clock> clock,
                                     std::shared_ptr<AudioSource> source)
    : room_(std::make_shared<Room>(std::move(executor), std::move(clock), std::move(source))),
      session_(std::make_unique<Session>(room_)) {}

VirtualMicrophone::~VirtualMicrophone() = default;

AudioSession& VirtualMicrophone::session() {
    return *session_;
}

std::unique_ptr<AudioEngine> VirtualMicrophone::makeEngine() {
    return std::make_unique<Engine>(room_);
}

void VirtualMicrophone::setPermission(RecordPermission permission) {
    const Lock lock(room_->mutex);
    room_->permission = permission;
}

void VirtualMicrophone::setPermissionAnswers(std::vector<bool> answers) {
    const Lock lock(room_->mutex);
    room_->permissionAnswers = std::move(answers);
}

void VirtualMicrophone::scheduleInterruption(std::chrono::nanoseconds from, std::chrono::nanoseconds to) {
    const Lock lock(room_->mutex);
    room_->script.emplace_back(from, AudioNotification{AudioNotification::InterruptionBegan{}, "began"});
    room_->script.emplace_back(to, AudioNotification{AudioNotification::InterruptionEnded{}, "ended"});
}

void VirtualMicrophone::beginInterruption() {
    room_->happen({AudioNotification::InterruptionBegan{}, "began"});
}

void VirtualMicrophone::endInterruption() {
    room_->happen({AudioNotification::InterruptionEnded{}, "ended"});
}

void VirtualMicrophone::loseBuffers(std::size_t count) {
    const Lock lock(room_->mutex);
    room_->toLose = count;
}

void VirtualMicrophone::setDelivering(bool delivering) {
    const Lock lock(room_->mutex);
    room_->delivering = delivering;
}

void VirtualMicrophone::setBufferSizes(std::vector<std::uint32_t> sizes) {
    const Lock lock(room_->mutex);
    room_->setSizes(std::move(sizes));
}

void VirtualMicrophone::setInputFormat(AudioFormat format) {
    const Lock lock(room_->mutex);
    room_->format = format;
}

void VirtualMicrophone::changeInputFormat(AudioFormat format) {
    setInputFormat(format);
    room_->happen({AudioNotification::EngineConfigurationChanged{}, "input format changed"});
}

void VirtualMicrophone::changeRoute(std::string reason, std::vector<std::string> previousOutputs) {
    notify({AudioNotification::RouteChanged{std::move(reason), std::move(previousOutputs)}, {}});
}

void VirtualMicrophone::resetMediaServices() {
    room_->happen({AudioNotification::MediaServicesReset{}, "media services were reset"});
}

void VirtualMicrophone::notify(const AudioNotification& notification) {
    room_->notify(notification);
}

void VirtualMicrophone::failConfiguring(std::optional<PlatformError> error) {
    const Lock lock(room_->mutex);
    room_->configureFailure = std::move(error);
}

void VirtualMicrophone::failActivating(std::optional<PlatformError> error) {
    const Lock lock(room_->mutex);
    room_->activateFailure = std::move(error);
}

void VirtualMicrophone::failStarting(std::optional<PlatformError> error) {
    const Lock lock(room_->mutex);
    room_->startFailure = std::move(error);
}

void VirtualMicrophone::whenEnded(std::function<void()> ended) {
    const Lock lock(room_->mutex);
    room_->ended = std::move(ended);
}

std::vector<std::string> VirtualMicrophone::takeCalls() {
    const Lock lock(room_->mutex);
    std::vector<std::string> texts;
    for (auto i = room_->callsTaken; i < room_->calls; ++i) {
        if (room_->calls - i > Room::kCallsKept) continue;
        texts.push_back(room_->kept[i % Room::kCallsKept].text());
    }
    room_->callsTaken = room_->calls;
    return texts;
}

std::vector<std::string> VirtualMicrophone::refusals() const {
    const Lock lock(room_->mutex);
    return room_->refusals;
}

bool VirtualMicrophone::isAvailable() const {
    const Lock lock(room_->mutex);
    const bool fails = room_->configureFailure || room_->activateFailure || room_->startFailure;
    return !fails && room_->permission == RecordPermission::granted &&
           room_->format == AudioFormat{48'000.0, 1} && room_->delivering && room_->toLose == 0 &&
           !room_->isInterrupted && !room_->hasEnded;
}

bool VirtualMicrophone::isRunning() const {
    const Lock lock(room_->mutex);
    return room_->anyRunning();
}

std::size_t VirtualMicrophone::taps() const {
    const Lock lock(room_->mutex);
    return room_->taps;
}

std::size_t VirtualMicrophone::mostTaps() const {
    const Lock lock(room_->mutex);
    return room_->mostTaps;
}

std::size_t VirtualMicrophone::engines() const {
    const Lock lock(room_->mutex);
    return room_->engines.size();
}

bool VirtualMicrophone::isObserved() const {
    const Lock lock(room_->mutex);
    return static_cast<bool>(room_->observer);
}

std::uint64_t VirtualMicrophone::framesDelivered() const {
    const Lock lock(room_->mutex);
    return room_->framesDelivered;
}

}  // namespace Velmor::Testing
