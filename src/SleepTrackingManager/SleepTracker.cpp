#include "SleepTrackingManager/SleepTracker.hpp"

#include "Runtime/Contain.hpp"
#include "Runtime/Text.hpp"

#include <chrono>
#include <utility>

namespace Velmor {
namespace {

constexpr std::chrono::seconds kStartCheckDelay{1};
constexpr std::chrono::minutes kShortestValidNight{30};
constexpr std::size_t kErrorTextLength = 200;  // characters of an error that a log line shows
constexpr const char* kTag = "tracking";

bool isAbout(const RecordingService::State& state, bool (*matches)(const VelmorError&)) {
    const auto* failure = std::get_if<RecordingService::State::error>(&state.value);
    return failure != nullptr && matches(failure->error);
}

// Nothing is recorded now, but the recording is not over: an end of the interruption or a resume by the host
// has it go on.
bool isPaused(const RecordingService::State& state) {
    return state.is<RecordingService::State::interrupted>() ||
           isAbout(state, [](const VelmorError& error) { return error.is<VelmorError::shouldResume>(); });
}

bool isRecording(const RecordingService::State& state) {
    return state.is<RecordingService::State::started>() || state.is<RecordingService::State::resumed>();
}

}  // namespace

std::shared_ptr<SleepTracker> SleepTracker::make(
    const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log, const Config& config,
    const std::weak_ptr<VelmorSleepTrackingManagerDelegate>& delegate, CaptureParts parts) {
    std::shared_ptr<SleepTracker> made(new SleepTracker(platform, log, config, delegate));
    made->recorder_ = MicrophoneRecorder::make(made->platform_, made->log_, made, std::move(parts));
    made->connectSessions();
    return made;
}

SleepTracker::SleepTracker(const std::shared_ptr<const Platform>& platform,
                           const std::shared_ptr<LogAPI>& log, const Config& config,
                           const std::weak_ptr<VelmorSleepTrackingManagerDelegate>& delegate)
    : platform_(platform),
      log_(log),
      config_(config),
      delegate_(log_, delegate),
      bitmap_([log = log_](const std::string& line) { log->log(LogAPI::Level::I, "Upload", line); }),
      nights_(delegate_) {}

// The host hears of the end of every night that it started, also when it ends here.
SleepTracker::~SleepTracker() {
    contain([this] {
        const auto* id = openSession();
        auto outcomes = nights_.abandon(id != nullptr ? std::optional(*id) : std::nullopt);
        if (outcomes.empty()) return;
        platform_->mainLoop->post([delegate = delegate_, outcomes = std::move(outcomes)] {
            for (const auto& outcome : outcomes) delegate.tell([&](auto& to) { to.trackingEnded(outcome); });
        });
    });
}

template <class... Parameters, class... Arguments>
void SleepTracker::onMainLoop(void (SleepTracker::*step)(Parameters...), Arguments... arguments) {
    platform_->mainLoop->post([weak = weak_from_this(), step, arguments...] {
        if (const auto self = weak.lock()) (*self.*step)(arguments...);
    });
}

// A fresh service: answers to requests of the former one are told to nobody.
void SleepTracker::connectSessions() {
    bag_.clear();
    sessionService_ = SessionsService::make(platform_, log_);
    bag_.add(sessionService_->stateSender.subscribe([weak = weak_from_this()](const Answer& answer) {
        if (const auto self = weak.lock()) self->handle(answer);
    }));
}

// --- operations of the host ---

void SleepTracker::startTracking() {
    write("[CALL] startTracking");
    platform_->mainLoop->post([weak = weak_from_this(), delegate = delegate_] {
        if (const auto self = weak.lock()) return self->start();
        delegate.tell([](auto& to) { to.trackingEnded({Kind::abandoned, {}, {}}); });
    });
}

void SleepTracker::resumeTracking() {
    write("[CALL] resumeTracking");
    onMainLoop(&SleepTracker::resume);
}

void SleepTracker::stopTracking() {
    write("[CALL] stopTracking");
    onMainLoop(&SleepTracker::stop);
}

void SleepTracker::requestAnalysis() {
    write("[CALL] requestAnalysis");
    onMainLoop(&SleepTracker::analyse);
}

TrackingStatus SleepTracker::getTrackingStatus() {
    TrackingStatus status;
    {
        const Lock lock(statusMutex_);
        status.sessionId = sessionId_;
        status.recording = resets_ == 0 && recorder_->recordingService()->isRecording();
    }
    log_->debugPrint({"Tracking: sessionId = ", status.sessionId.value_or("null")});
    return status;
}

void SleepTracker::reset() {
    {
        const Lock lock(statusMutex_);
        ++resets_;
        sessionId_.reset();
    }
    onMainLoop(&SleepTracker::abandon);
}

void SleepTracker::resume() {
    recorder_->resume();
}

// --- start ---

void SleepTracker::start() {
    if (openSession() != nullptr) {
        log_->debugPrint("Tracking: already started");
        return;
    }
    nights_.start();
    recorder_->start([weak = weak_from_this(), generation = ++permissionGeneration_](bool permitted) {
        if (const auto self = weak.lock()) self->permissionAnswered(generation, permitted);
    });
}

void SleepTracker::permissionAnswered(std::uint64_t generation, bool permitted) {
    if (!permitted) {
        log_->debugPrint("Tracking: start request can not working");
        write("start request can not working");
        const bool isOfThisNight =
            generation == permissionGeneration_ && openSession() == nullptr && !creating_;
        const auto state = recorder_->recordingService()->state();
        if (isOfThisNight && !isRecording(state) && !isPaused(state))
            nights_.end(Kind::permissionDenied, {}, {});
        return;
    }
    log_->debugPrint("Tracking: request start");
    platform_->background->postAfter(kStartCheckDelay,
                                     [weak = weak_from_this(), generation = ++startGeneration_] {
                                         if (const auto self = weak.lock())
                                             self->onMainLoop(&SleepTracker::checkStart, generation);
                                     });
}

// Recording must really have begun before a session is opened for it. Of several starts within the delay only
// the last one counts, or one recording would get several sessions.
void SleepTracker::checkStart(std::uint64_t generation) {
    if (generation != startGeneration_) return;
    const auto state = recorder_->recordingService()->state();
    checkAgain_ = isPaused(state);
    if (checkAgain_) return;
    if (!isRecording(state)) return startFailed(state);
    if (creating_)
        stoppedWhileCreating_ =
            false;  // the session under way serves the recording that began after the stop
    else if (openSession() == nullptr)
        createSession();
}

void SleepTracker::startFailed(const RecordingService::State& state) {
    log_->debugPrint("Tracking: request failed");
    write({"request failed ", state.description()}, LogAPI::Level::E);
    if (!nights_.isUnderWay()) return;  // stopped meanwhile
    recorder_->stop();
    nights_.end(Kind::notRecording, {}, {});
}

void SleepTracker::createSession() {
    sessionService_->requestAction.send(
        {Request::create{config_, platform_->clock->wallNow(), SessionsService::DataType::mel}});
    creating_ = true;
    stoppedWhileCreating_ = false;
}

// --- stop ---

void SleepTracker::stop() {
    const bool invalid = isInvalid();
    if (!stopAndClose(invalid)) nights_.end(Kind::stopped, {}, {});
}

// False when no session is closed by it.
bool SleepTracker::stopAndClose(bool invalid) {
    bitmap_.finish();
    recorder_->stop();
    return closeNight(invalid);
}

// Has the session closed, at once or as soon as it exists. False when there is none.
bool SleepTracker::closeNight(bool invalid) {
    const auto* id = openSession();
    if (id == nullptr || !nights_.isUnderWay()) {
        stoppedWhileCreating_ = creating_;
        log_->debugPrint("Tracking: already stopped");
        return id != nullptr || creating_;
    }
    log_->debugPrint("Tracking: request stop");
    // Behind the chunks that were finished but not handed over yet: close is the last request of a session.
    onMainLoop(&SleepTracker::sendClose, std::string(*id), invalid);
    nights_.stop(*id);
    return true;
}

void SleepTracker::sendClose(const std::string& sessionId, bool invalid) {
    if (!nights_.sendClose(sessionId)) return;  // the server gave the session up meanwhile
    try {
        sessionService_->requestAction.send(
            {Request::close{config_, sessionId, platform_->clock->wallNow(), false, invalid}});
    } catch (...) {  // no memory for the request
        nights_.unstop(sessionId);
        throw;
    }
}

bool SleepTracker::isInvalid() const {
    const auto recorded = recorder_->recordingService()->sinceFirstFrame();
    return !recorded || *recorded < kShortestValidNight;
}

bool SleepTracker::isClosing() const {
    return stoppedWhileCreating_ || nights_.areWaiting();
}

// What a stop has left to do is done all the same: those requests keep their service.
void SleepTracker::abandon() {
    recorder_->cancelStart();
    recorder_->recordingService()->reset();
    ++startGeneration_;
    checkAgain_ = false;
    bitmap_.finish();
    if (isClosing()) {
        stoppedWhileCreating_ = creating_;
    } else {
        connectSessions();
        creating_ = false;
    }
    const auto* id = openSession();
    const auto sessionId = id != nullptr ? std::optional(*id) : std::nullopt;
    {
        const Lock lock(statusMutex_);
        --resets_;
    }
    setState({State::none{}});
    if (!stoppedWhileCreating_) nights_.end(Kind::abandoned, sessionId, {});
}

// --- analysis ---

void SleepTracker::analyse() {
    const auto* id = openSession();
    if (const auto* closed = std::get_if<State::close>(&state_.value)) id = &closed->sesssionId;
    if (id == nullptr) {
        log_->debugPrint("Tracking: already stopped");
        return;
    }
    log_->debugPrint("Tracking: request analysis");
    sessionService_->requestAction.send({Request::analysis{config_, *id}});
}

// --- events of the recorder ---

void SleepTracker::recordedData(std::string data, std::int64_t sequence) {
    const auto* id = openSession();
    if (id == nullptr) {
        log_->debugPrint("Tracking: already stopped");
        write("[ST] already stopped", LogAPI::Level::W);
        return;
    }
    log_->debugPrint({"Tracking: request upload data, sequence = ", std::to_string(sequence)});
    sessionService_->requestAction.send(
        {Request::mel{config_, *id, platform_->clock->wallNow(), std::move(data), sequence}});
}

void SleepTracker::didFail(const VelmorError& error) {
    nights_.recorderFailed(error);
    bool closing = true;
    if (error.is<VelmorError::audioInitializationFailed>()) closing = stopAndClose(isInvalid());
    delegate_.tell([&](auto& delegate) { delegate.didFail(error); });
    writeError(error);
    // The recording is over already, and forgot when it began.
    if (error.is<VelmorError::over24hours>()) closing = stopAndClose(false);
    if (!closing) nights_.end(Kind::notRecording, {}, error);
}

void SleepTracker::didInterrupt() {
    delegate_.tell([](auto& delegate) { delegate.didInterrupt(); });
}

void SleepTracker::didResume() {
    // Later: whether the microphone runs again is settled behind this call.
    if (std::exchange(checkAgain_, false)) onMainLoop(&SleepTracker::checkStart, startGeneration_);
    delegate_.tell([](auto& delegate) { delegate.didResume(); });
}

void SleepTracker::micPermissionWasDenied() {
    write("mic permission was denied");
    delegate_.tell([](auto& delegate) { delegate.micPermissionWasDenied(); });
}

void SleepTracker::whenNothingIsClosing(std::function<void()> release) {
    release_ = std::move(release);
    releaseWhenNothingIsClosing();
}

void SleepTracker::releaseWhenNothingIsClosing() {
    if (isClosing()) return;
    if (const auto release = std::exchange(release_, {})) release();
}

// --- state ---

void SleepTracker::setState(State state) {
    state_ = std::move(state);
    const auto* open = openSession();
    {
        const Lock lock(statusMutex_);
        sessionId_ = open != nullptr && resets_ == 0 ? std::optional(*open) : std::nullopt;
    }
    if (const auto* close = std::get_if<State::close>(&state_.value)) {
        const auto id = close->sesssionId;  // the delegate may change the state
        delegate_.tell([&](auto& delegate) { delegate.didClose(id); });
        log_->uploadLog(config_, id);
    }
}

const std::string* SleepTracker::openSession() const {
    const auto* open = std::get_if<State::open>(&state_.value);
    return open != nullptr ? &open->sesssionId : nullptr;
}

void SleepTracker::writeError(const VelmorError& error) noexcept {
    contain([&] { write(firstCharacters(error.description(), kErrorTextLength), LogAPI::Level::E); });
}

void SleepTracker::write(std::string_view message, LogAPI::Level level) noexcept {
    log_->log(level, kTag, message);
}

void SleepTracker::write(Pieces message, LogAPI::Level level) noexcept {
    log_->log(level, kTag, message);
}

}  // namespace Velmor
