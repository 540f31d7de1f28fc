// What comes into a recording: frames by way of tap, queue, resampler and chunks; events of the audio
// session; and the watch for frames that stay away.
#include "Recorder/AudioConstants.hpp"
#include "Recorder/RecordingService.hpp"

#include <algorithm>
#include <utility>

namespace Velmor {

AudioEngine::Tap RecordingService::makeTap() {
    // The executor is held weakly, since an engine that it owns by way of a task must not own it.
    return [queue = queue_, loop = std::weak_ptr(platform_->mainLoop), weak = weak_from_this()](
               std::span<const float> frames, BootTime captured) {
        if (!queue->push(frames, captured)) return;
        try {
            if (const auto executor = loop.lock())
                executor->post([weak] {
                    if (const auto self = weak.lock()) self->drain();
                });
        } catch (...) {  // no memory for a task; the next buffer asks again
            queue->rearm();
        }
    };
}

void RecordingService::drain() {
    if (!queue_) return;
    queue_->rearm();
    takeBlocks(kBlockFrames);
}

void RecordingService::flush() {
    takeBlocks(1);
}

bool RecordingService::isTaking() const {
    return cutter_ && queue_ && input_ != Input::ignored;
}

void RecordingService::takeBlocks(std::size_t atLeast) {
    reportLost();
    while (isTaking()) {
        const auto block = queue_->take(block_, atLeast, kLongestSilence);
        if (block.frames == 0) return;
        take(block);
    }
}

void RecordingService::take(const CaptureQueue::Block& block) {
    const auto recording = recordingGeneration_;
    if (input_ != Input::awaited && block.begin - lastEnd_ >= kLongestSilence)
        enterInterrupted(Cause::missingFrames);
    if (input_ == Input::awaited) enterResumed({.at = block.begin, .byFrames = true});
    if (recording != recordingGeneration_ || !isTaking()) return;  // ended by somebody who was told so
    if (std::exchange(engineRestarted_, false)) cutter_->fillGap(lastEnd_, block.begin);
    lastEnd_ = block.end;
    isResuming_ = false;
    const PcmBuffer buffer{std::span(block_).first(block.frames), block.end};
    bufferSender.send(buffer);
    process(buffer);
    if (recording != recordingGeneration_ || !isOver()) return;
    publisher_->deliverWaiting();
    if (recording == recordingGeneration_) enterStopped(VelmorError::over24hours{});
}

// The last period's chunk may be complete some seconds late, as its number allows.
bool RecordingService::isOver() const {
    const auto length = lastEnd_ - firstFrameTime_->time;
    if (length < kLongestRecording) return false;
    return cutter_->lastNumber() >= kLongestRecording / kChunkPeriod - 1 ||
           length >= kLongestRecording + kChunkPeriod / 2;
}

void RecordingService::process(const PcmBuffer& buffer) {
    if (!cutter_) return;
    const auto frames = resampler_->process(buffer.frames);
    if (!frames) {
        if (droppedBuffers_++ == 0) logError({"conversion ERROR: a buffer without finite values dropped"});
        return;
    }
    if (const auto error = cutter_->append(*frames, buffer.captured)) enterError(VelmorError::unknown{error});
}

void RecordingService::reportLost() {
    const auto lost = queue_ ? queue_->takeLost() : 0;
    if (lost > 0) logError({"capture queue OVERRUN: ", std::to_string(lost), " frames lost"});
}

void RecordingService::watchAfter(std::chrono::nanoseconds delay) {
    platform_->mainLoop->postAfter(delay, [weak = weak_from_this(), mine = ++watchGeneration_] {
        const auto self = weak.lock();
        if (self && self->watchGeneration_ == mine) self->watch();
    });
}

void RecordingService::watch() {
    if (!isTaking()) return;
    if (input_ == Input::awaited) {
        retryDelay_ = std::min<std::chrono::nanoseconds>(2 * retryDelay_, kLongestRetryDelay);
        watchAfter(retryDelay_);
        restartEngine();
        return;
    }
    const auto idle = now() - std::max(queue_->newest(), engineStart_);
    if (idle < kLongestSilence) {
        watchAfter(kLongestSilence - idle);
        return;
    }
    flush();
    if (isTaking() && input_ != Input::awaited) enterInterrupted(Cause::missingFrames);
}

// From here on the next frames resume the recording, and until they come the engine is looked after.
void RecordingService::awaitFrames() {
    input_ = Input::awaited;
    retryDelay_ = kShortestRetryDelay;
    watchAfter(retryDelay_);
    updateRecording();
}

// Starts an engine again that stands still although nobody interrupted it.
void RecordingService::restartEngine() {
    flush();
    if (input_ != Input::awaited || engine_.isRunning()) return;
    if (rebuildEngine(false)) startEngine();
}

void RecordingService::notified(const AudioNotification& notification) {
    if (!cutter_) return;
    flush();
    if (!cutter_) return;  // the frames that waited were the recording's last
    std::visit([&](const auto& event) { notified(event); }, notification.event);
}

void RecordingService::notified(const AudioNotification::InterruptionBegan&) {
    if (!state().is<State::interrupted>()) return enterInterrupted(Cause::system);
    input_ = Input::ignored;  // told twice, or noticed before it was told
    engine_.pause();
}

void RecordingService::notified(const AudioNotification::InterruptionEnded&) {
    isResuming_ = true;
    enterResumed({.at = now()});
}

void RecordingService::notified(const AudioNotification::EngineConfigurationChanged&) {
    if (engine_.isRunning() || (input_ == Input::ignored && state().is<State::interrupted>())) return;
    if (input_ != Input::taken) {  // what was in the engine's way may be gone now
        awaitFrames();
        restartEngine();
    } else if (!isResuming_) {
        runEngine();
    }
}

void RecordingService::notified(const AudioNotification::RouteChanged&) {}

void RecordingService::notified(const AudioNotification::MediaServicesReset&) {
    const auto recording = recordingGeneration_;
    if (!state().is<State::interrupted>()) enterInterrupted(Cause::system);
    if (recording != recordingGeneration_) return;
    isResuming_ = true;
    enterResumed({.at = now(), .freshEngine = true});
}

}  // namespace Velmor
