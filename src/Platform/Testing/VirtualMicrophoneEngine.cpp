#include "VirtualMicrophoneEngine.hpp"

#include <stdexcept>

namespace Velmor::Testing {
namespace {

constexpr std::chrono::seconds kSlept{1};  // later than this, the machine was asleep

std::string number(double value) {
    auto text = std::to_string(value);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) text.pop_back();
    return text;
}

}  // namespace

std::string Asked::text() const {
    switch (what) {
        case configure:
            return "configure " + number(settings.preferredSampleRate) +
                   (settings.mixWithOthers ? " mixing" : "") + (settings.defaultToSpeaker ? " speaker" : "") +
                   (settings.preferBuiltInMicrophone ? " built-in" : "");
        case activate:
            return "activate";
        case makeEngine:
            return "make engine";
        case attachMixer:
            return "attach mixer " + number(double{volume});
        case detachMixer:
            return "detach mixer";
        case installTap:
            return "install tap " + std::to_string(frames) + " " + number(format.sampleRate) + "x" +
                   std::to_string(format.channelCount);
        case removeTap:
            return "remove tap";
        case start:
            return "start";
        case pause:
            return "pause";
        case stop:
            return "stop";
        case release:
            break;
    }
    return "release";
}

void VirtualMicrophone::Room::refuse(const char* what) {
    refusals.emplace_back(what);
    throw std::logic_error(what);
}

void VirtualMicrophone::Room::checkThread(const char* what) const {
    // It holds the mutex that the list of refusals needs, and would wait for itself.
    if (tapThread == std::this_thread::get_id())
        throw std::logic_error(std::string(what) + " from inside a tap");
}

void VirtualMicrophone::Room::happen(const AudioNotification& notification) {
    if (!std::holds_alternative<AudioNotification::InterruptionEnded>(notification.event)) {
        const Lock lock(mutex);
        for (auto* engine : engines) engine->cutOff();
    }
    notify(notification);
}

void VirtualMicrophone::Room::notify(const AudioNotification& notification) {
    AudioSession::Observer tell;
    {
        const Lock lock(mutex);
        if (std::holds_alternative<AudioNotification::InterruptionBegan>(notification.event))
            isInterrupted = true;
        if (std::holds_alternative<AudioNotification::InterruptionEnded>(notification.event) ||
            std::holds_alternative<AudioNotification::MediaServicesReset>(notification.event))
            isInterrupted = false;
        tell = observer;
    }
    if (tell) tell(notification);
}

void VirtualMicrophone::Room::setSizes(std::vector<std::uint32_t> sizes) {
    bufferSizes = std::move(sizes);
    const std::size_t largest = *std::max_element(bufferSizes.begin(), bufferSizes.end());
    buffer.resize(std::max(buffer.size(), largest));  // a buffer of a former size may be under way
}

void VirtualMicrophone::Room::begin() {
    if (origin) return;
    origin = clock->bootNow();
    for (const auto& [delay, notification] : script)
        executor->postAfter(delay, [weak = weak_from_this(), what = notification] {
            if (const auto self = weak.lock()) self->happen(what);
        });
}

BootTime VirtualMicrophone::Room::timeOf(std::uint64_t position) const {
    return *origin + std::chrono::nanoseconds{static_cast<std::int64_t>((position * 62'500 + 2) / 3)};
}

std::uint64_t VirtualMicrophone::Room::positionNow() const {
    const auto since = (clock->bootNow() - *origin).count();
    return static_cast<std::uint64_t>(std::max<std::int64_t>(since, 0)) * 3 / 62'500;
}

bool VirtualMicrophone::Room::anyRunning() const {
    return std::any_of(engines.begin(), engines.end(), [](const Engine* engine) { return engine->runs(); });
}

VirtualMicrophone::Engine::Engine(std::shared_ptr<Room> room) : room_(std::move(room)) {
    const Lock lock(room_->mutex);
    room_->asked({.what = Asked::makeEngine});
    room_->engines.push_back(this);
}

VirtualMicrophone::Engine::~Engine() {
    const Lock lock(room_->mutex);
    room_->asked({.what = Asked::release});
    std::erase(room_->engines, this);
    dropTap();
}

AudioFormat VirtualMicrophone::Engine::inputFormat() {
    const Lock lock(room_->mutex);
    return room_->format;
}

bool VirtualMicrophone::Engine::isRunning() {
    const Lock lock(room_->mutex);
    return running_;
}

void VirtualMicrophone::Engine::attachMixer(float volume) {
    room_->checkThread("a mixer");
    const Lock lock(room_->mutex);
    room_->asked({.what = Asked::attachMixer, .volume = volume});
    if (std::exchange(hasMixer_, true)) room_->refuse("a second mixer");
}

void VirtualMicrophone::Engine::detachMixer() {
    room_->checkThread("the removal of a mixer");
    const Lock lock(room_->mutex);
    room_->asked({.what = Asked::detachMixer});
    if (!std::exchange(hasMixer_, false)) room_->refuse("the removal of no mixer");
}

void VirtualMicrophone::Engine::installTap(std::uint32_t bufferFrames, const AudioFormat& format, Tap tap) {
    room_->checkThread("a tap");
    const Lock lock(room_->mutex);
    room_->asked({.what = Asked::installTap, .format = format, .frames = bufferFrames});
    if (tap_) room_->refuse("a second tap");
    if (!(format == room_->format)) room_->refuse("a tap that is not of the input's format");
    room_->mostTaps = std::max(room_->mostTaps, ++room_->taps);
    tap_ = std::move(tap);
}

void VirtualMicrophone::Engine::removeTap() {
    room_->checkThread("the removal of a tap");
    const Lock lock(room_->mutex);
    if (tap_) room_->asked({.what = Asked::removeTap});
    dropTap();
}

void VirtualMicrophone::Engine::dropTap() {
    room_->mutex.assertHeld();
    if (tap_) --room_->taps;
    tap_ = nullptr;
}

void VirtualMicrophone::Engine::start() {
    room_->checkThread("a start");
    const Lock lock(room_->mutex);
    room_->asked({.what = Asked::start});
    if (!tap_) room_->refuse("a start without a tap");
    if (!hasMixer_) room_->refuse("a start without a mixer");
    if (!room_->isActive) room_->refuse("a start without an active session");
    if (room_->startFailure) throw PlatformError(*room_->startFailure);
    if (running_) return;
    room_->begin();
    running_ = true;
    ++run_;
    next_ = room_->positionNow();
    schedule();
}

void VirtualMicrophone::Engine::pause() {
    room_->checkThread("a pause");
    const Lock lock(room_->mutex);
    room_->asked({.what = Asked::pause});
    running_ = false;
}

void VirtualMicrophone::Engine::stop() {
    room_->checkThread("a stop");
    const Lock lock(room_->mutex);
    room_->asked({.what = Asked::stop});
    running_ = false;
}

void VirtualMicrophone::Engine::schedule() {
    room_->mutex.assertHeld();
    frames_ = room_->bufferSizes[size_++ % room_->bufferSizes.size()];
    const auto due = room_->timeOf(next_ + frames_);
    const auto delay = std::max(due - room_->clock->bootNow(), std::chrono::nanoseconds{0});
    room_->executor->postAfter(
        delay, [weak = std::weak_ptr(room_), alive = std::weak_ptr(alive_), this, run = run_] {
            const auto room = weak.lock();
            if (!room) return;
            const Lock lock(room->mutex);
            const bool isThere =
                std::find(room->engines.begin(), room->engines.end(), this) != room->engines.end() &&
                !alive.expired();
            if (isThere) tick(run);
        });
}

void VirtualMicrophone::Engine::tick(std::uint64_t run) {
    room_->mutex.assertHeld();
    if (!running_ || run != run_) return;
    if (room_->clock->bootNow() - room_->timeOf(next_ + frames_) > kSlept)
        next_ = room_->positionNow();
    else
        deliver(frames_);
    if (!room_->hasEnded) schedule();
}

void VirtualMicrophone::Engine::deliver(std::uint64_t frames) {
    room_->mutex.assertHeld();
    const auto heard = room_->source->read(next_, std::span(room_->buffer).first(frames));
    const bool lost = room_->toLose > 0;
    if (lost) --room_->toLose;
    if (tap_ && room_->delivering && !lost && (heard > 0 || frames == 0)) {
        room_->tapThread = std::this_thread::get_id();
        tap_(std::span(room_->buffer).first(heard), room_->timeOf(next_ + heard));
        room_->tapThread = std::thread::id{};
        room_->framesDelivered += heard;
    }
    next_ += frames;
    if (heard == frames || std::exchange(room_->hasEnded, true)) return;
    if (room_->ended) room_->executor->post(room_->ended);
}

void VirtualMicrophone::Engine::cutOff() {
    room_->mutex.assertHeld();
    if (running_ && room_->clock->bootNow() == room_->timeOf(next_ + frames_)) deliver(frames_);
    running_ = false;
}

}  // namespace Velmor::Testing
