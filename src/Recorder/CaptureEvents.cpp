// What happens around a recording: interruptions, notifications of the audio session, frames that stay away.
#include "Recorder/AudioConstants.hpp"
#include "Recorder/Capture.hpp"
#include "Runtime/Contain.hpp"

#include <algorithm>
#include <atomic>
#include <utility>

namespace Velmor {
namespace {

// Which capture observes the session; a session has one observer, and whoever comes late must not end the
// observation of the next.
std::atomic<std::uint64_t> latestObservation{0};

std::string_view orElse(std::string_view details, std::string_view text) {
    return details.empty() ? text : details;
}

}  // namespace

void RecordingService::Capture::interrupt(bool stalled) {
    stalled_ = stalled;
    owner_.stateSender.send({State::interrupted{}});
}

void RecordingService::Capture::resumeByFrames(BootTime at) {
    at_ = at;
    resumedByFrames_ = true;
    owner_.stateSender.send({State::resumed{}});
}

void RecordingService::Capture::observe() {
    observation_ = ++latestObservation;
    platform_->audio->session().observe(
        [weak = owner_.weak_from_this(),
         loop = std::weak_ptr(platform_->mainLoop)](const AudioNotification& notification) {
            const auto executor = loop.lock();
            if (!executor) return;
            // Where there is no memory for a task, the frames that stay away or come back tell the same.
            contain([&] {
                executor->post([weak, notification] {
                    if (const auto self = weak.lock()) self->capture_->notified(notification);
                });
            });
        });
}

void RecordingService::Capture::endObserving() {
    const auto mine = std::exchange(observation_, 0);
    if (mine == 0) return;
    // Later, because the last reference to a recording may drop on any thread, and sessions are the loop's.
    // An observer that stays finds nobody.
    contain([&] {
        platform_->mainLoop->post([weak = std::weak_ptr(platform_->audio), mine] {
            const auto audio = weak.lock();
            if (audio && latestObservation == mine) audio->session().observe({});
        });
    });
}

void RecordingService::Capture::notified(const AudioNotification& notification) {
    const auto& details = notification.details;
    const auto write = [&](Pieces text) { log_->log(LogAPI::Level::I, "notifications", text); };
    std::visit(
        [&](const auto& event) {
            using Event = std::decay_t<decltype(event)>;
            if constexpr (std::is_same_v<Event, AudioNotification::InterruptionBegan>) {
                write({"[AVAudioSession.interruptionNotification] ", orElse(details, "began")});
            } else if constexpr (std::is_same_v<Event, AudioNotification::InterruptionEnded>) {
                write({"[AVAudioSession.interruptionNotification] ", orElse(details, "ended")});
            } else if constexpr (std::is_same_v<Event, AudioNotification::EngineConfigurationChanged>) {
                write({"[AVAudioEngineConfigurationChange] ", details});
            } else if constexpr (std::is_same_v<Event, AudioNotification::RouteChanged>) {
                std::string ports;
                for (const auto& port : event.previousOutputs)
                    ports.append(", previous output ").append(port);
                write({"[route change] ", event.reason, ports});
            } else {
                write({"[media services reset] ", details});
            }
        },
        notification.event);
    if (!cutter_) return;
    flush();
    if (!cutter_) return;  // the frames that waited were the recording's last
    std::visit([&](const auto& event) { notified(event); }, notification.event);
}

void RecordingService::Capture::notified(const AudioNotification::InterruptionBegan&) {
    if (owner_.state().is<State::interrupted>()) {  // told twice, or noticed before it was told
        stalled_ = false;
        engine_.pause();
        return;
    }
    interrupt(false);
}

void RecordingService::Capture::notified(const AudioNotification::InterruptionEnded&) {
    isResuming_ = true;
    owner_.stateSender.send({State::resumed{}});
}

void RecordingService::Capture::notified(const AudioNotification::EngineConfigurationChanged&) {
    if (engine_.isRunning()) return;
    const bool interrupted = owner_.state().is<State::interrupted>();
    if (stalled_ || (interruptStartTime_ && !interrupted)) {  // what was in the way may be gone now
        awaitFrames();
        restart();
    } else if (!interrupted && !isResuming_) {
        runEngine();
    }
}

void RecordingService::Capture::notified(const AudioNotification::RouteChanged&) {}

void RecordingService::Capture::notified(const AudioNotification::MediaServicesReset&) {
    const auto recording = recordings_;
    if (!owner_.state().is<State::interrupted>()) interrupt(false);
    if (recording != recordings_) return;
    isResuming_ = true;
    freshEngine_ = true;
    owner_.stateSender.send({State::resumed{}});
}

void RecordingService::Capture::watchAfter(std::chrono::nanoseconds delay) {
    platform_->mainLoop->postAfter(delay, [weak = owner_.weak_from_this(), mine = ++timer_] {
        const auto self = weak.lock();
        if (self && self->capture_->timer_ == mine) self->capture_->watch();
    });
}

void RecordingService::Capture::watch() {
    if (!isTaking()) return;
    if (stalled_) {
        pause_ = std::min<std::chrono::nanoseconds>(2 * pause_, kLongestPause);
        watchAfter(pause_);
        restart();
        return;
    }
    const auto idle = now() - std::max(queue_->newest(), engineStart_);
    if (idle < kLongestSilence) {
        watchAfter(kLongestSilence - idle);
        return;
    }
    flush();
    if (isTaking() && !stalled_) interrupt(true);
}

// From here on the next frames resume the recording, and until they come the engine is looked after.
void RecordingService::Capture::awaitFrames() {
    stalled_ = true;
    pause_ = kShortestPause;
    watchAfter(pause_);
    updateRecording();
}

// An engine that stands still although nobody interrupted it is started again.
void RecordingService::Capture::restart() {
    flush();
    if (!stalled_ || engine_.isRunning()) return;
    if (rebuildEngine()) startEngine();
}

}  // namespace Velmor
