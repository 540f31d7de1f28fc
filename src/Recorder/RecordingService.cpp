// The operations of the recording service, and what each state does on entry.
#include "Recorder/RecordingService.hpp"

#include "APIService/Iso8601.hpp"
#include "Preprocessor/Preprocessor.hpp"
#include "Recorder/AudioConstants.hpp"
#include "Recorder/EngineError.hpp"
#include "Recorder/ErrorText.hpp"
#include "Recorder/FileChunkStore.hpp"
#include "Recorder/LeftOverFiles.hpp"

#include <algorithm>
#include <utility>

namespace Velmor {
namespace {

CaptureParts completed(CaptureParts parts, const std::shared_ptr<const Platform>& platform) {
    if (!parts.convert)
        parts.convert = [platform](const std::string& path) {
            FileChunkStore store(platform);
            return Preprocessor::shared().convert(path, store);
        };
    if (!parts.makeBuffer)
        parts.makeBuffer = [] { return std::make_unique<SampleRing>(CaptureQueue::kCapacity); };
    if (!parts.makeResampler) parts.makeResampler = [] { return std::make_unique<FilteringResampler>(); };
    return parts;
}

}  // namespace

std::string RecordingService::State::description() const {
    if (const auto* state = std::get_if<started>(&value))
        return joined({"started(", Iso8601::format(state->date), ")"});
    if (const auto* state = std::get_if<stopped>(&value))
        return state->error ? joined({"stopped(", state->error->description(), ")"}) : "stopped";
    if (const auto* state = std::get_if<error>(&value))
        return joined({"error(", state->error.description(), ")"});
    if (is<notDetermined>()) return "notDetermined";
    if (is<ready>()) return "ready";
    return is<interrupted>() ? "interrupted" : "resumed";
}

std::shared_ptr<RecordingService> RecordingService::make(const std::shared_ptr<const Platform>& platform,
                                                         const std::shared_ptr<LogAPI>& log,
                                                         CaptureParts parts) {
    std::shared_ptr<RecordingService> service(
        new RecordingService(platform, log, completed(std::move(parts), platform)));
    service->publisher_ = std::make_shared<ChunkPublisher>(
        platform, log, service->parts_.convert, [weak = service->weak_from_this()](const ChunkData& data) {
            if (const auto self = weak.lock()) self->dataSender.send(data);
        });
    return service;
}

RecordingService::RecordingService(const std::shared_ptr<const Platform>& platform,
                                   const std::shared_ptr<LogAPI>& log, CaptureParts parts)
    : platform_(platform),
      log_(log),
      parts_(std::move(parts)),
      engine_(platform_),
      session_(std::make_shared<SessionObserver>(platform_, log_)),
      resampler_(parts_.makeResampler()),
      block_(kBlockFrames) {}

RecordingService::~RecordingService() {
    engine_.release();
}

void RecordingService::start() {
    const auto keep = shared_from_this();
    const State before = state();
    if (before.is<State::started>() || before.is<State::interrupted>() || before.is<State::resumed>()) {
        log_->debugPrint("Recorder: start request can not working");
        return;
    }
    if (before.is<State::notDetermined>()) {
        enterReady();
        if (!state().is<State::ready>()) return;  // the failure was reported
    }
    release(true);
    bag_.add(session_->notificationSender.subscribe(
        [weak = weak_from_this()](const AudioNotification& notification) {
            if (const auto self = weak.lock()) self->notified(notification);
        }));
    session_->begin();
    enterStarted(platform_->clock->wallNow());
}

void RecordingService::stop() {
    const auto keep = shared_from_this();
    const State before = state();
    const auto* error = std::get_if<State::error>(&before.value);
    const bool started =
        before.is<State::started>() || before.is<State::interrupted>() || before.is<State::resumed>();
    if (!started && !(error && (error->error.is<VelmorError::audioInitializationFailed>() ||
                                error->error.is<VelmorError::cannotActivateInBackground>() ||
                                error->error.is<VelmorError::shouldResume>()))) {
        log_->debugPrint("Recorder: stop request can not working");
        // Nobody who asked to stop must find the microphone open.
        if (error && handOverWaiting()) release(false);
        return;
    }
    if (handOverWaiting()) enterStopped({});
}

void RecordingService::resume() {
    const auto keep = shared_from_this();
    flush();
    if (!cutter_) {
        log_->debugPrint("Recorder: resume request can not working");
        return;
    }
    enterResumed({.at = now()});
}

void RecordingService::reset() {
    const auto keep = shared_from_this();
    stateSender.send({State::notDetermined{}});
    log_->debugPrint("Recorder: reset audio engine");
    release(true);
    firstFrameTime_.reset();
}

std::optional<WallTime> RecordingService::firstFrameTime() const {
    return firstFrameTime_ ? std::optional(firstFrameTime_->date) : std::nullopt;
}

std::optional<std::chrono::nanoseconds> RecordingService::sinceFirstFrame() const {
    return firstFrameTime_ ? std::optional(now() - firstFrameTime_->time) : std::nullopt;
}

// An entry that fails, for lack of memory for instance, leaves nothing half made.
template <class Entry>
void RecordingService::enter(State state, Entry entry) {
    stateSender.send(std::move(state));
    try {
        entry();
    } catch (...) {
        release(false);
        enterError(VelmorError::unknown{std::current_exception()});
    }
    updateRecording();
}

void RecordingService::enterReady() {
    enter({State::ready{}}, [this] {
        logState("ready");
        engine_.configureSession();
    });
}

void RecordingService::enterStarted(WallTime date) {
    enter({State::started{date}}, [&] {
        logState("started");
        beginRecording(date);
        if (rebuildEngine(false)) startEngine();
    });
}

void RecordingService::beginRecording(WallTime date) {
    removeLeftOverFiles(platform_->files);
    firstFrameTime_ = {date, now()};
    cutter_ = std::make_unique<ChunkCutter>(
        platform_, log_, now(),
        [this](const std::string& path, std::int64_t sequence) { publisher_->publish(path, sequence); });
    queue_ = std::make_shared<CaptureQueue>(parts_.makeBuffer());
    resampler_->reset();
    engineRan_ = engineRestarted_ = false;
    lastEnd_ = now();
    droppedBuffers_ = 0;
}

void RecordingService::enterStopped(const std::optional<VelmorError>& error) {
    enter({State::stopped{error}}, [&] {
        logState(error ? joined({"stopped with error: ", error->description()}) : "stopped");
        release(true);
        firstFrameTime_.reset();
        if (error) errorSender.send(*error);
    });
}

void RecordingService::enterError(const VelmorError& error) {
    stateSender.send({State::error{error}});
    try {
        errorSender.send(error);
    } catch (...) {
        release(false);
        throw;
    }
    updateRecording();
}

void RecordingService::enterInterrupted(Cause cause) {
    enter({State::interrupted{}}, [&] {
        logState("interrupted");
        interrupt(cause);
    });
}

void RecordingService::interrupt(Cause cause) {
    input_ = cause == Cause::missingFrames ? Input::awaited : Input::ignored;
    // What the engine had gathered of a buffer is lost with it.
    if (!interruptStartTime_) interruptStartTime_ = lastEnd_;
    const auto recording = recordingGeneration_;
    interruptedSender.send(true);
    if (recording != recordingGeneration_) return;
    if (input_ == Input::awaited)
        awaitFrames();
    else
        engine_.pause();
}

void RecordingService::enterResumed(const Resumption& resumption) {
    enter({State::resumed{}}, [&] { continueRecording(resumption); });
}

void RecordingService::continueRecording(const Resumption& resumption) {
    engineRan_ = true;
    toldFailures_.clear();
    const auto failure = resumption.byFrames ? nullptr : tryActivating();
    logState(isBackgroundActivation(failure) ? "resumed(cannotActivateInBackground)" : "resumed");
    const auto recording = recordingGeneration_;
    interruptedSender.send(false);
    if (recording != recordingGeneration_ || !cutter_) return;

    cutter_->fillGap(interruptStartTime_.value_or(lastEnd_), resumption.at);
    interruptStartTime_.reset();
    input_ = Input::taken;
    lastEnd_ = resumption.at;
    if (resumption.byFrames) {
        resampler_->reset();
        watchAfter(kLongestSilence);
        return;
    }
    if (!rebuildEngine(resumption.freshEngine)) return;
    if (failure)
        engineFailed(failure);
    else
        runEngine();
}

bool RecordingService::rebuildEngine(bool fresh) {
    try {
        engine_.rebuild(fresh);
        if (queue_) queue_->clear();
        return true;
    } catch (...) {
        engineFailed(std::current_exception());
        return false;
    }
}

std::exception_ptr RecordingService::tryActivating() {
    try {
        engine_.activateSession();
        return nullptr;
    } catch (...) {
        return std::current_exception();
    }
}

void RecordingService::startEngine() {
    if (!firstFrameTime_ || engine_.isRunning()) return;
    if (const auto failure = tryActivating())
        engineFailed(failure);
    else
        runEngine();
}

void RecordingService::runEngine() {
    const AudioFormat format = engine_.inputFormat();
    if (format != AudioFormat{double{kInputRate}, 1}) {
        engineFailed(VelmorError::audioInitializationFailed{}, formatErrorLine(format));
        return;
    }
    engineStart_ = now();
    resampler_->reset();
    try {
        engine_.start(makeTap());
    } catch (...) {
        engineFailed(std::current_exception());
        return;
    }
    engineRestarted_ = std::exchange(engineRan_, true);
    if (input_ != Input::awaited) watchAfter(kLongestSilence);
    updateRecording();
}

void RecordingService::engineFailed(const std::exception_ptr& failure) {
    engineFailed(engineError(failure, engineRan_), joined({"startEngine ERROR: ", errorText(failure)}));
}

// An engine that ran before is tried again. The host is told of each failure once.
void RecordingService::engineFailed(const VelmorError& error, std::string_view line) {
    if (engineRan_ && input_ != Input::awaited)
        awaitFrames();
    else if (input_ == Input::taken)
        input_ = Input::ignored;
    const std::string& description = error.description();
    if (std::ranges::find(toldFailures_, description) != toldFailures_.end()) return;
    toldFailures_.push_back(description);
    logError({line});
    enterError(error);
}

// Hands over what a stop must not lose: the chunk that the queued frames complete, and those that wait. False
// when the recording was ended meanwhile by somebody who was told.
bool RecordingService::handOverWaiting() {
    const auto recording = recordingGeneration_;
    flush();
    publisher_->deliverWaiting();
    return recording == recordingGeneration_;
}

void RecordingService::release(bool logRemovals) {
    ++recordingGeneration_;
    input_ = Input::taken;
    isResuming_ = false;
    toldFailures_.clear();
    interruptStartTime_.reset();
    engine_.release();
    bag_.clear();
    session_->end();
    removeChunkFiles(logRemovals);
    queue_.reset();
    updateRecording();
}

void RecordingService::removeChunkFiles(bool logRemovals) {
    if (!cutter_) return;
    cutter_->removeFiles([&](const std::string& path) {
        if (logRemovals) log_->debugPrint({"remove file - file://", path});
    });
    cutter_.reset();
}

void RecordingService::updateRecording() noexcept {
    recording_ = cutter_ && input_ == Input::taken && engine_.isRunning();
}

void RecordingService::logState(std::string_view text) noexcept {
    log_->debugPrint({"Recorder: state ", text});
    log_->log(LogAPI::Level::I, "recording", {"[ST] ", text});
}

void RecordingService::logError(Pieces text) noexcept {
    log_->log(LogAPI::Level::E, "recording", text);
}

}  // namespace Velmor
