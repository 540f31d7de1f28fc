#include "Recorder/Capture.hpp"

#include "Recorder/AudioConstants.hpp"
#include "Recorder/ErrorText.hpp"
#include "Recorder/LeftOverFiles.hpp"

#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace Velmor {
namespace {

std::optional<PlatformError::Kind> kindOf(const std::exception_ptr& failure) {
    if (!failure) return {};
    try {
        std::rethrow_exception(failure);
    } catch (const PlatformError& error) {
        return error.kind();
    } catch (...) {
        return {};
    }
}

// "44100.0": the shortest text that reads back the same, with a fraction.
std::string decimal(double value) {
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    std::string digits(text.data(), end);
    if (std::isfinite(value) && digits.find_first_of(".e") == std::string::npos) digits += ".0";
    return digits;
}

}  // namespace

RecordingService::Capture::Capture(RecordingService& owner, const std::shared_ptr<const Platform>& platform,
                                   const std::shared_ptr<LogAPI>& log, CaptureParts parts)
    : owner_(owner),
      platform_(platform),
      log_(log),
      publisher_(std::make_shared<ChunkPublisher>(platform_, log_, std::move(parts.convert),
                                                  [weak = owner.weak_from_this()](const ChunkData& data) {
                                                      if (const auto self = weak.lock())
                                                          self->dataSender.send(data);
                                                  })),
      engine_(platform_),
      samples_(parts.samples),
      resampler_(samples_),
      block_(kBlockFrames) {}

RecordingService::Capture::~Capture() {
    engine_.release();
    removeChunkFiles(false);
    endObserving();
}

void RecordingService::Capture::start() {
    const State state = owner_.state();
    if (state.is<State::started>() || state.is<State::interrupted>() || state.is<State::resumed>()) {
        log_->debugPrint("Recorder: start request can not working");
        return;
    }
    if (state.is<State::notDetermined>()) {
        owner_.stateSender.send({State::ready{}});
        if (!owner_.state().is<State::ready>()) return;  // the failure was reported
    }
    letGo();
    bag_.add(owner_.bufferSender.subscribe([weak = owner_.weak_from_this()](const PcmBuffer& buffer) {
        if (const auto self = weak.lock()) self->capture_->process(buffer);
    }));
    observe();
    owner_.stateSender.send({State::started{platform_->clock->wallNow()}});
}

void RecordingService::Capture::stop() {
    const State state = owner_.state();
    const auto* error = std::get_if<State::error>(&state.value);
    const bool started =
        state.is<State::started>() || state.is<State::interrupted>() || state.is<State::resumed>();
    if (!started && !(error && (error->error.is<VelmorError::audioInitializationFailed>() ||
                                error->error.is<VelmorError::cannotActivateInBackground>() ||
                                error->error.is<VelmorError::shouldResume>()))) {
        log_->debugPrint("Recorder: stop request can not working");
        // Nobody who asked to stop must find the microphone open.
        if (error && finish()) letGo(false);
        return;
    }
    if (finish()) owner_.stateSender.send({State::stopped{}});
}

// Hands over what a stop must not lose: a chunk that the queued frames complete, and those that wait. False
// when somebody who was told ended the recording meanwhile.
bool RecordingService::Capture::finish() {
    const auto recording = recordings_;
    flush();
    publisher_->deliverWaiting();
    return recording == recordings_;
}

void RecordingService::Capture::resume() {
    flush();
    if (!cutter_) {
        log_->debugPrint("Recorder: resume request can not working");
        return;
    }
    owner_.stateSender.send({State::resumed{}});
}

void RecordingService::Capture::reset() {
    owner_.stateSender.send({State::notDetermined{}});
    log_->debugPrint("Recorder: reset audio engine");
    letGo();
    firstFrameTime_.reset();
}

// What a state needs may not be there, memory first of all: then nothing is kept that is there by half.
void RecordingService::Capture::handle(const State& state) {
    try {
        std::visit([this](const auto& value) { entered(value); }, state.value);
    } catch (...) {
        letGo(false);
        if (state.is<State::error>()) throw;
        owner_.stateSender.send({State::error{VelmorError::unknown{std::current_exception()}}});
    }
    updateRecording();
}

void RecordingService::Capture::updateRecording() noexcept {
    owner_.recording_ = cutter_ && !interruptStartTime_ && !stalled_ && engine_.isRunning();
}

void RecordingService::Capture::entered(const State::started& state) {
    logState("started");
    removeLeftOverFiles(platform_->files);
    firstFrameTime_ = {state.date, now()};
    cutter_ = std::make_unique<ChunkCutter>(
        platform_, log_, now(),
        [publisher = publisher_.get()](const std::string& path, std::int64_t sequence) {
            publisher->publish(path, sequence);
        });
    queue_ = std::make_shared<CaptureQueue>(samples_);
    resampler_.reset();
    begun_ = torn_ = false;
    lastEnd_ = now();
    droppedBuffers_ = 0;
    if (rebuildEngine()) startEngine();
}

void RecordingService::Capture::entered(const State::stopped& state) {
    logState(state.error ? joined({"stopped with error: ", state.error->description()}) : "stopped");
    letGo();
    firstFrameTime_.reset();
    if (state.error) owner_.errorSender.send(*state.error);
}

void RecordingService::Capture::entered(const State::error& state) {
    owner_.errorSender.send(state.error);
}

void RecordingService::Capture::entered(const State::notDetermined&) {}

void RecordingService::Capture::entered(const State::ready&) {
    logState("ready");
    try {
        engine_.configureSession();
    } catch (...) {
        owner_.stateSender.send({State::error{VelmorError::unknown{std::current_exception()}}});
    }
}

void RecordingService::Capture::entered(const State::interrupted&) {
    logState("interrupted");
    // What the engine had gathered of a buffer is lost with it.
    if (!interruptStartTime_) interruptStartTime_ = lastEnd_;
    const auto recording = recordings_;
    owner_.interruptedSender.send(true);
    if (recording != recordings_) return;
    if (stalled_)
        awaitFrames();
    else
        engine_.pause();
}

void RecordingService::Capture::entered(const State::resumed&) {
    const auto at = std::exchange(at_, {}).value_or(now());
    const bool byFrames = std::exchange(resumedByFrames_, false);
    begun_ = true;
    told_.clear();
    const auto failure = byFrames ? nullptr : tryActivating();
    const bool inBackground = kindOf(failure) == PlatformError::Kind::backgroundActivation;
    logState(inBackground ? "resumed(cannotActivateInBackground)" : "resumed");
    const auto recording = recordings_;
    owner_.interruptedSender.send(false);
    if (recording != recordings_ || !cutter_) return;

    cutter_->fillGap(interruptStartTime_.value_or(lastEnd_), at);
    interruptStartTime_.reset();
    stalled_ = false;
    lastEnd_ = at;
    if (byFrames) {
        resampler_.reset();
        watchAfter(kLongestSilence);
        return;
    }
    if (!rebuildEngine()) return;
    if (failure)
        failed(failure);
    else
        runEngine();
}

bool RecordingService::Capture::rebuildEngine() {
    try {
        engine_.rebuild(std::exchange(freshEngine_, false));
        if (queue_) queue_->clear();
        return true;
    } catch (...) {
        failed(std::current_exception());
        return false;
    }
}

std::exception_ptr RecordingService::Capture::tryActivating() {
    try {
        engine_.activateSession();
        return nullptr;
    } catch (...) {
        return std::current_exception();
    }
}

void RecordingService::Capture::startEngine() {
    if (!firstFrameTime_ || engine_.isRunning()) return;
    if (const auto failure = tryActivating())
        failed(failure);
    else
        runEngine();
}

void RecordingService::Capture::runEngine() {
    if (!formatFits()) return;
    engineStart_ = now();
    resampler_.reset();
    try {
        engine_.start(makeTap());
    } catch (...) {
        failed(std::current_exception());
        return;
    }
    torn_ = std::exchange(begun_, true);
    if (!stalled_) watchAfter(kLongestSilence);
    updateRecording();
}

bool RecordingService::Capture::formatFits() {
    const AudioFormat format = engine_.inputFormat();
    if (format.sampleRate == double{kInputRate} && format.channelCount == 1) return true;
    failed(VelmorError::audioInitializationFailed{},
           {"setupEngine FORMAT-ERROR sampleRate: ", decimal(format.sampleRate),
            ", channelCount: ", std::to_string(format.channelCount)});
    return false;
}

void RecordingService::Capture::letGo(bool telling) {
    ++recordings_;
    stalled_ = isResuming_ = false;
    told_.clear();
    interruptStartTime_.reset();
    engine_.release();
    bag_.clear();
    endObserving();
    removeChunkFiles(telling);
    queue_.reset();
    updateRecording();
}

void RecordingService::Capture::failed(const std::exception_ptr& error) {
    failed(errorFor(error), {"startEngine ERROR: ", errorText(error)});
}

// The engine does not run. One that ran before is tried again.
void RecordingService::Capture::failed(const VelmorError& error, Pieces line) {
    interruptStartTime_ = lastEnd_;  // so that the time lost is filled later
    if (begun_ && !stalled_) awaitFrames();
    if (!told_.insert(error.description()).second) return;
    logError(line);
    owner_.stateSender.send({State::error{error}});
}

VelmorError RecordingService::Capture::errorFor(const std::exception_ptr& failure) const {
    const auto kind = kindOf(failure);
    if (kind == PlatformError::Kind::audioUnavailable) return VelmorError::audioInitializationFailed{};
    if (kind != PlatformError::Kind::backgroundActivation) return VelmorError::unknown{failure};
    if (begun_) return VelmorError::shouldResume{};
    return VelmorError::cannotActivateInBackground{};
}

void RecordingService::Capture::logState(std::string_view text) noexcept {
    log_->debugPrint({"Recorder: state ", text});
    log_->log(LogAPI::Level::I, "recording", {"[ST] ", text});
}

void RecordingService::Capture::logError(Pieces text) noexcept {
    log_->log(LogAPI::Level::E, "recording", text);
}

void RecordingService::Capture::removeChunkFiles(bool telling) {
    if (!cutter_) return;
    cutter_->removeFiles([&](const std::string& path) {
        if (telling) log_->debugPrint({"remove file - file://", path});
    });
    cutter_.reset();
}

}  // namespace Velmor
