// The road of the frames: tap, queue, blocks, resampler, chunks.
#include "Recorder/AudioConstants.hpp"
#include "Recorder/Capture.hpp"

#include <utility>

namespace Velmor {

AudioEngine::Tap RecordingService::Capture::makeTap() {
    // The executor is held weakly, since an engine that it owns by way of a task must not own it.
    return [queue = queue_, loop = std::weak_ptr(platform_->mainLoop), weak = owner_.weak_from_this()](
               std::span<const float> frames, BootTime captured) {
        if (!queue->push(frames, captured)) return;
        try {
            if (const auto executor = loop.lock())
                executor->post([weak] {
                    if (const auto self = weak.lock()) self->capture_->drain();
                });
        } catch (...) {  // no memory for a task; the next buffer asks again
            queue->rearm();
        }
    };
}

void RecordingService::Capture::drain() {
    if (!queue_) return;
    queue_->rearm();
    takeBlocks(kBlockFrames);
}

void RecordingService::Capture::flush() {
    takeBlocks(1);
}

bool RecordingService::Capture::isTaking() const {
    return cutter_ && queue_ && (!interruptStartTime_ || stalled_);
}

void RecordingService::Capture::takeBlocks(std::size_t atLeast) {
    reportLost();
    while (isTaking()) {
        const auto block = queue_->take(block_, atLeast, kLongestSilence);
        if (block.frames == 0) return;
        take(block);
    }
}

void RecordingService::Capture::take(const CaptureQueue::Block& block) {
    const auto recording = recordings_;
    if (!stalled_ && block.begin - lastEnd_ >= kLongestSilence) interrupt(true);
    if (stalled_) resumeByFrames(block.begin);
    if (recording != recordings_ || !isTaking()) return;  // ended by somebody who was told so
    if (std::exchange(torn_, false)) cutter_->fillGap(lastEnd_, block.begin);
    lastEnd_ = block.end;
    isResuming_ = false;
    owner_.bufferSender.send({std::span(block_).first(block.frames), block.end});
    if (recording != recordings_ || !isOver()) return;
    publisher_->deliverWaiting();
    if (recording == recordings_) owner_.stateSender.send({State::stopped{VelmorError::over24hours{}}});
}

// The last period's chunk may be complete some seconds late, as its number allows.
bool RecordingService::Capture::isOver() const {
    const auto length = lastEnd_ - firstFrameTime_->time;
    if (length < kLongestRecording) return false;
    return cutter_->lastNumber() >= kLongestRecording / kChunkPeriod - 1 ||
           length >= kLongestRecording + kChunkPeriod / 2;
}

void RecordingService::Capture::process(const PcmBuffer& buffer) {
    if (!cutter_) return;
    const auto frames = resampler_.process(buffer.frames);
    if (!frames) {
        if (droppedBuffers_++ == 0) logError({"conversion ERROR: a buffer without finite values dropped"});
        return;
    }
    if (const auto error = cutter_->append(*frames, buffer.captured))
        owner_.stateSender.send({State::error{VelmorError::unknown{error}}});
}

void RecordingService::Capture::reportLost() {
    const auto lost = queue_ ? queue_->takeLost() : 0;
    if (lost > 0) logError({"capture queue OVERRUN: ", std::to_string(lost), " frames lost"});
}

}  // namespace Velmor
