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

}  // namespace

std::shared_ptr<SleepTracker> SleepTracker::make(const std::shared_ptr<const Platform>& platform,
                                                 const std::shared_ptr<LogAPI>& log, CaptureParts parts) {
    std::shared_ptr<SleepTracker> made(new SleepTracker(platform, log));
    made->recorder_ = RecorderCore::make(made->platform_, made->log_, made, std::move(parts));
    made->connectSessions();
    return made;
}

SleepTracker::SleepTracker(const std::shared_ptr<const Platform>& platform,
                           const std::shared_ptr<LogAPI>& log)
    : platform_(platform),
      log_(log),
      bitmap_([log = log_](const std::string& line) { log->log(LogAPI::Level::I, "Upload", line); }) {}

SleepTracker::~SleepTracker() = default;

void SleepTracker::configure(Config config,
                             const std::weak_ptr<VelmorSleepTrackingManagerDelegate>& delegate) {
    config_ = std::move(config);
    delegate_ = delegate;
}

template <class... Arguments>
void SleepTracker::onMainLoop(void (SleepTracker::*step)(Arguments...), Arguments... arguments) {
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
    onMainLoop(&SleepTracker::start);
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
        status = status_;
    }
    log_->debugPrint({"Tracking: sessionId = ", status.sessionId.value_or("null")});
    return status;
}

void SleepTracker::reset() {
    onMainLoop(&SleepTracker::abandon);
}

void SleepTracker::resume() {
    recorder_->resume();
}

// --- start ---

void SleepTracker::start() {
    sessionService_->wake();
    if (openSession() != nullptr) {
        log_->debugPrint("Tracking: already started");
        return;
    }
    recorder_->start([weak = weak_from_this()](bool permitted) {
        if (const auto self = weak.lock()) self->started(permitted);
    });
}

void SleepTracker::started(bool permitted) {
    if (!permitted) {
        log_->debugPrint("Tracking: start request can not working");
        write("start request can not working");
        return;
    }
    log_->debugPrint("Tracking: request start");
    platform_->background->postAfter(kStartCheckDelay, [weak = weak_from_this(), generation = ++starts_] {
        if (const auto self = weak.lock()) self->onMainLoop(&SleepTracker::checkStart, generation);
    });
}

// Recording must really have begun before a session is opened for it. Of several starts within the delay only
// the last one counts, or one recording would get several sessions.
void SleepTracker::checkStart(std::uint64_t generation) {
    if (generation != starts_) return;
    const auto state = recorder_->recordingService()->stateSender.value();
    if (!state.is<RecordingService::State::started>()) {
        log_->debugPrint("Tracking: request failed");
        write({"request failed ", state.description()}, LogAPI::Level::E);
        return;
    }
    if (creating_) {
        stoppedWhileCreating_ =
            false;  // stopped and started again: the session under way serves the new recording
    } else if (openSession() == nullptr || closing_) {
        createSession();
    }
}

void SleepTracker::createSession() {
    if (!config_)
        return;  // only a manager that the entry point made for itself has none; nobody can start it
    sessionService_->requestAction.send(
        {Request::create{*config_, platform_->clock->wallNow(), SessionsService::DataType::mel}});
    creating_ = true;
    stoppedWhileCreating_ = false;
}

// --- stop ---

void SleepTracker::stop() {
    sessionService_->wake();
    bitmap_.finish();
    const bool invalid = isInvalid();  // before the recording forgets when it began
    stopRecording();
    if (openSession() == nullptr || closing_) {
        stoppedWhileCreating_ = creating_;
        log_->debugPrint("Tracking: already stopped");
        return;
    }
    log_->debugPrint("Tracking: request stop");
    // Behind the chunks that were finished but not handed over yet: close is the last request of a session.
    onMainLoop(&SleepTracker::closeSession, invalid);
    closing_ = true;
}

void SleepTracker::closeSession(bool invalid) {
    closing_ = false;
    const auto* id = openSession();
    if (id == nullptr) return;
    sessionService_->requestAction.send(
        {Request::close{*config_, *id, platform_->clock->wallNow(), false, invalid}});
    closing_ = true;
}

bool SleepTracker::isInvalid() const {
    const auto recorded = recorder_->recordingService()->sinceFirstFrame();
    return !recorded || *recorded < kShortestValidNight;
}

void SleepTracker::stopRecording() {
    recorder_->stop();
}

void SleepTracker::abandon() {
    recorder_->cancelStart();
    recorder_->recordingService()->reset();
    ++starts_;
    creating_ = stoppedWhileCreating_ = closing_ = false;
    bitmap_.finish();
    connectSessions();
    setState({State::none{}});
}

// --- analysis ---

void SleepTracker::analyse() {
    const auto* id = openSession();
    if (const auto* closed = std::get_if<State::close>(&state_.value)) id = &closed->sesssionId;
    if (id == nullptr || !config_) {
        log_->debugPrint("Tracking: already stopped");
        return;
    }
    log_->debugPrint("Tracking: request analysis");
    sessionService_->requestAction.send({Request::analysis{*config_, *id}});
}

// --- answers of the service ---

void SleepTracker::handle(const Answer& answer) {
    if (const auto* create = std::get_if<Answer::create>(&answer.value)) {
        created(create->sessionId);
    } else if (const auto* upload = std::get_if<Answer::upload>(&answer.value)) {
        uploaded(upload->sessionId, upload->sequence);
    } else if (const auto* close = std::get_if<Answer::close>(&answer.value)) {
        closed(close->sessionId);
    } else if (const auto* analysis = std::get_if<Answer::analysis>(&answer.value)) {
        log_->debugPrint("Session Tracking Analysis");
        tell([&](auto& delegate) { delegate.analysing(analysis->report.session); });
    } else if (const auto* error = std::get_if<Answer::error>(&answer.value)) {
        failed(error->error);
    }
}

void SleepTracker::created(const std::string& sessionId) {
    creating_ = closing_ = false;
    log_->debugPrint({"Session created: sessionId = ", sessionId});
    write({"[RESP] sessionId ", sessionId});
    bitmap_.finish();  // what was confirmed after the stop belongs to the session before
    setState({State::open{sessionId}});
    tell([](auto& delegate) { delegate.didCreate(); });
    // The host stopped before the session existed: nobody else would close it.
    if (std::exchange(stoppedWhileCreating_, false) && openSession() != nullptr && !closing_) {
        log_->debugPrint("Tracking: request stop");
        closeSession(true);
    }
}

void SleepTracker::uploaded(const std::string& sessionId, std::int64_t sequence) {
    contain([&] {
        log_->debugPrint(
            {"Session uploaded: sessionId = ", sessionId, ", sequence = ", std::to_string(sequence)});
        bitmap_.mark(sequence);
    });
    tell([&](auto& delegate) { delegate.didUpload(sequence); });
}

void SleepTracker::closed(const std::string& sessionId) {
    closing_ = false;
    log_->debugPrint({"Session closed: sessionId = ", sessionId});
    write({"[RESP] closed ", sessionId});
    bitmap_.finish();  // uploads confirmed since the stop, so that the shipped log has them
    setState({State::close{sessionId}});
}

void SleepTracker::failed(const VelmorError& error) {
    contain([&] {
        log_->debugPrintError(error);
        write(firstCharacters(error.description(), kErrorTextLength), LogAPI::Level::E);
    });
    const auto* http = error.as<VelmorError::httpStatus>();
    const bool startFailed = error.is<VelmorError::startTrackingNetworkFail>();
    const bool sessionGone = http != nullptr && (http->code == 403 || http->code == 404);
    const bool stopFailed = error.is<VelmorError::stopTrackingNetworkFail>();
    const auto* answerless = error.as<VelmorError::responseResult>();
    if (startFailed || (answerless != nullptr && answerless->endpoint == "ai/v1/sessions"))
        creating_ = stoppedWhileCreating_ = false;
    if (stopFailed || (answerless != nullptr && answerless->endpoint.ends_with("/close"))) closing_ = false;
    // The state first: what the recording hands over while it stops must not go to a session that takes
    // nothing more.
    if (startFailed || stopFailed || sessionGone) setState({State::none{}});
    if (startFailed || sessionGone) contain([this] { stopRecording(); });
    tell([&](auto& delegate) { delegate.didFail(error); });
}

// --- events of the recorder ---

void SleepTracker::recordedData(std::string data, std::int64_t sequence) {
    const auto* id = openSession();
    if (id == nullptr) {
        sessionService_->wake();
        log_->debugPrint("Tracking: already stopped");
        write("[ST] already stopped", LogAPI::Level::W);
        return;
    }
    log_->debugPrint({"Tracking: request upload data, sequence = ", std::to_string(sequence)});
    sessionService_->requestAction.send(
        {Request::mel{*config_, *id, platform_->clock->wallNow(), std::move(data), sequence}});
}

void SleepTracker::didFail(const VelmorError& error) {
    if (error.is<VelmorError::audioInitializationFailed>()) stop();
    tell([&](auto& delegate) { delegate.didFail(error); });
    write(firstCharacters(error.description(), kErrorTextLength), LogAPI::Level::E);
}

void SleepTracker::didInterrupt() {
    tell([](auto& delegate) { delegate.didInterrupt(); });
}

void SleepTracker::didResume() {
    tell([](auto& delegate) { delegate.didResume(); });
}

void SleepTracker::micPermissionWasDenied() {
    write("mic permission was denied");
    tell([](auto& delegate) { delegate.micPermissionWasDenied(); });
}

// --- state ---

void SleepTracker::setState(State state) {
    state_ = std::move(state);
    const auto* open = openSession();
    {
        const Lock lock(statusMutex_);
        status_.sessionId = open != nullptr ? std::optional(*open) : std::nullopt;
    }
    if (const auto* close = std::get_if<State::close>(&state_.value)) {
        const auto id = close->sesssionId;  // the delegate may change the state
        tell([&](auto& delegate) { delegate.didClose(id); });
        log_->uploadLog(config_, id);
    }
}

const std::string* SleepTracker::openSession() const {
    const auto* open = std::get_if<State::open>(&state_.value);
    return open != nullptr ? &open->sesssionId : nullptr;
}

template <class Call>
void SleepTracker::tell(Call call) {
    const auto delegate = delegate_.lock();
    if (!delegate) return;
    contain([&] { call(*delegate); },
            [&](const std::string& reason) {
                write({"delegate: ", reason}, LogAPI::Level::E);
            });
}

void SleepTracker::write(std::string_view message, LogAPI::Level level) noexcept {
    log_->log(level, kTag, message);
}

void SleepTracker::write(Pieces message, LogAPI::Level level) noexcept {
    log_->log(level, kTag, message);
}

}  // namespace Velmor
