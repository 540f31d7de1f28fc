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

void RecordingService::Capture::interrupt(BootTime at, bool stalled) {
    stalled_ = stalled;
    at_ = at;
    owner_.stateSender.send({State::interrupted{}});
}

void RecordingService::Capture::resumeByFrames(BootTime at) {
    at_ = at;
    resumedByFrames_ = true;
    owner_.stateSender.send({State::resumed{}});
}

void RecordingService::Capture::observe() {
    observation_ = ++latestObservation;
    platform_->audio->session().observe([weak = owner_.weak_from_this(),
                                         loop = std::weak_ptr(platform_->mainLoop),
                                         clock = platform_->clock](const AudioNotification& notification) {
        const auto executor = loop.lock();
        if (!executor) return;
        // Where there is no memory for a task, the frames that stay away or come back tell the same.
        contain([&] {
            executor->post([weak, notification, at = clock->bootNow()] {
                if (const auto self = weak.lock()) self->capture_->notified(notification, at);
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

void RecordingService::Capture::notified(const AudioNotification& notification, BootTime at) {
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
                write({"[AVAudioSession.routeChangeNotification] ", event.reason, ports});
            } else {
                write({"[AVAudioSession.mediaServicesWereResetNotification] ", details});
            }
        },
        notification.event);
    if (!cutter_) return;
    flush();
    std::visit([&](const auto& event) { notified(event, at); }, notification.event);
}

void RecordingService::Capture::notified(const AudioNotification::InterruptionBegan&, BootTime at) {
    if (owner_.state().is<State::interrupted>()) {  // told twice, or noticed before it was told
        stalled_ = false;
        capturing_ = false;
        engine_.pause();
        return;
    }
    interrupt(std::max(at, lastEnd_), false);
}

void RecordingService::Capture::notified(const AudioNotification::InterruptionEnded&, BootTime) {
    isResuming_ = true;
    owner_.stateSender.send({State::resumed{}});
}

void RecordingService::Capture::notified(const AudioNotification::EngineConfigurationChanged&, BootTime) {
    if (owner_.state().is<State::interrupted>() || engine_.isRunning() || isResuming_) return;
    if (!engine_.exists() && !rebuildEngine()) return;
    if (interruptStartTime_) {  // the error that ended the recording may be mended now
        cutter_->fillGap(*std::exchange(interruptStartTime_, {}), now());
        lastEnd_ = now();
        resampler_.reset();
        queue_->clear();
    }
    runEngine();
}

void RecordingService::Capture::notified(const AudioNotification::RouteChanged&, BootTime) {}

void RecordingService::Capture::notified(const AudioNotification::MediaServicesReset&, BootTime) {
    const auto recording = recordings_;
    if (!owner_.state().is<State::interrupted>()) interrupt(lastEnd_, false);
    if (recording != recordings_) return;
    isResuming_ = true;
    freshEngine_ = true;
    owner_.stateSender.send({State::resumed{}});
}

void RecordingService::Capture::watchAfter(std::chrono::nanoseconds delay) {
    if (std::exchange(watching_, true)) return;
    platform_->mainLoop->postAfter(delay, [weak = owner_.weak_from_this()] {
        if (const auto self = weak.lock()) self->capture_->watch();
    });
}

void RecordingService::Capture::watch() {
    watching_ = false;
    if (!capturing_ || !isTaking() || stalled_) return;
    const auto idle = now() - std::max(queue_->newest(), engineStart_);
    if (idle < kLongestSilence) {
        watchAfter(kLongestSilence - idle);
        return;
    }
    flush();
    if (isTaking() && !stalled_) interrupt(lastEnd_, true);
}

}  // namespace Velmor
