#include "VirtualMicrophoneEngine.hpp"

namespace Velmor::Testing {
namespace {

constexpr std::chrono::seconds kSlept{1};  // later than this, the machine was asleep

}  // namespace

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
    room_->engines.push_back(this);
}

VirtualMicrophone::Engine::~Engine() {
    const Lock lock(room_->mutex);
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

void VirtualMicrophone::Engine::installTap(std::uint32_t, const AudioFormat&, Tap tap) {
    const Lock lock(room_->mutex);
    if (!tap_) room_->mostTaps = std::max(room_->mostTaps, ++room_->taps);
    tap_ = std::move(tap);
}

void VirtualMicrophone::Engine::removeTap() {
    const Lock lock(room_->mutex);
    dropTap();
}

void VirtualMicrophone::Engine::dropTap() {
    room_->mutex.assertHeld();
    if (tap_) --room_->taps;
    tap_ = nullptr;
}

void VirtualMicrophone::Engine::start() {
    const Lock lock(room_->mutex);
    if (room_->startFailure) throw PlatformError(*room_->startFailure);
    if (running_) return;
    room_->begin();
    running_ = true;
    ++run_;
    next_ = room_->positionNow();
    schedule();
}

void VirtualMicrophone::Engine::pause() {
    const Lock lock(room_->mutex);
    running_ = false;
}

void VirtualMicrophone::Engine::stop() {
    pause();
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
        tap_(std::span(room_->buffer).first(heard), room_->timeOf(next_ + heard));
        room_->framesDelivered += heard;
    }
    next_ += frames;
    if (heard == frames || std::exchange(room_->hasEnded, true)) return;
    if (room_->ended) room_->executor->post(room_->ended);
}

void VirtualMicrophone::Engine::cutOff() {
    room_->mutex.assertHeld();
    if (!running_) return;
    const auto now = room_->positionNow();
    while (running_ && next_ < now && !room_->hasEnded)
        deliver(std::min<std::uint64_t>(now - next_, room_->buffer.size()));
    running_ = false;
}

}  // namespace Velmor::Testing
