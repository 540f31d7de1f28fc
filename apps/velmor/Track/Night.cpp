#include "Track/Night.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

namespace VelmorApp {
namespace {

using Velmor::Lock;
using Velmor::TrackingOutcome;
using Velmor::VelmorError;

constexpr std::chrono::seconds kPatience{10};

std::optional<std::string> unlessEmpty(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

std::string reasonOf(TrackingOutcome::Kind kind) {
    using Kind = TrackingOutcome::Kind;
    switch (kind) {
        case Kind::notRecording:
            return "recording did not start";
        case Kind::permissionDenied:
            return "the microphone may not be used";
        case Kind::stopped:
            return "the night ended before its session was opened";
        case Kind::notCreated:
            return "no session was opened";
        case Kind::sessionGone:
            return "the service gave the session up";
        case Kind::closed:
        case Kind::notClosed:
        case Kind::abandoned:
            break;
    }
    return "the session was not closed";
}

std::int64_t numberBehind(std::string_view line, std::string_view lead) {
    return std::stoll(std::string(line.substr(line.find(lead) + lead.size())));
}

}  // namespace

std::vector<std::int64_t> NightBooks::missing() const {
    std::vector<std::int64_t> numbers;
    std::copy_if(handedOver.begin(), handedOver.end(), std::back_inserter(numbers),
                 [this](std::int64_t number) { return !uploaded.contains(number); });
    return numbers;
}

Night::Night(const SharedOptions& shared, const Velmor::Url& service, bool analysis,
             std::shared_ptr<Velmor::Clock> clock, NightPrinter& printer, std::function<void()> started)
    : shared_(shared),
      service_(service),
      clock_(std::move(clock)),
      printer_(printer),
      started_(std::move(started)),
      analysis_(analysis),
      lastMove_(clock_->bootNow()) {}

void Night::begin() {
    Velmor::initVelmorConfig(shared_.apiKey, unlessEmpty(shared_.userId), service_, shared_.callbackUrl,
                             unlessEmpty(shared_.service), shared_from_this());
}

// --- the road of the night ---

void Night::userDidJoin(const std::string& userId, const Velmor::Config& config) {
    {
        const Lock lock(mutex_);
        if (phase_ != Phase::joining) return;
        phase_ = Phase::starting;
        books_.userId = userId;
        books_.began = clock_->wallNow();
        startedAt_ = lastMove_ = clock_->bootNow();
        printer_.userDidJoin(userId);
    }
    const auto made = Velmor::createSleepTrackingManager(config, weak_from_this());
    {
        const Lock lock(mutex_);
        manager_ = made;
    }
    made->startTracking();
    started_();
}

void Night::didFailUserJoin(const VelmorError& error) {
    const Lock lock(mutex_);
    fail(error, true);
}

void Night::userDidDelete(const std::string& /*userId*/) {}

void Night::didCreate() {
    const std::string id = manager()->getTrackingStatus().sessionId.value_or("");
    bool stopNow = false;
    {
        const Lock lock(mutex_);
        books_.created = true;
        books_.sessionId = id;
        if (phase_ == Phase::starting) phase_ = Phase::open;
        stopNow = stopWanted_;
        printer_.didCreate(id);
    }
    if (stopNow) stop();
}

void Night::didUpload(std::int64_t sequence) {
    const Lock lock(mutex_);
    books_.uploaded.insert(sequence);
    printer_.didUpload(sequence);
}

// A session that is stopped before it exists would be left to the library's own care, and a recording that is
// shorter than its opening would never become one; so the stop waits.
void Night::stop() {
    {
        const Lock lock(mutex_);
        stopWanted_ = true;
        if (phase_ != Phase::open) return;
        phase_ = Phase::stopping;
        books_.ended = clock_->wallNow();
        lastMove_ = clock_->bootNow();
    }
    manager()->stopTracking();
}

void Night::interrupt() {
    {
        const Lock lock(mutex_);
        books_.code = ExitCode::interrupted;
        analysis_ = false;
        if (phase_ == Phase::joining || phase_ == Phase::analysing) setOver();
    }
    stop();
}

void Night::didClose(const std::string& sessionId) {
    const Lock lock(mutex_);
    books_.closed = true;
    lastMove_ = clock_->bootNow();
    printer_.didClose(sessionId);
}

void Night::trackingEnded(const TrackingOutcome& outcome) {
    {
        const Lock lock(mutex_);
        if (phase_ == Phase::over) return;  // given up before
        if (!books_.ended) books_.ended = clock_->wallNow();
        lastMove_ = clock_->bootNow();
        printer_.trackingEnded(outcome);
        if (outcome.kind != TrackingOutcome::Kind::closed || !analysis_) {
            const bool tells = outcome.kind == TrackingOutcome::Kind::closed || books_.code != ExitCode::done;
            return tells ? setOver() : giveUp(reasonOf(outcome.kind));
        }
        phase_ = Phase::analysing;
    }
    manager()->requestAnalysis();
}

void Night::analysing(const Velmor::Model::Session& session) {
    const Lock lock(mutex_);
    books_.analysis = session;
    printer_.analysing(session);
    setOver();
}

// --- what happens on the way ---

void Night::didInterrupt() {
    const Lock lock(mutex_);
    const auto at = sinceStart();
    books_.interruptions.push_back({at, at});
    printer_.didInterrupt(at);
}

void Night::didResume() {
    const Lock lock(mutex_);
    if (!books_.interruptions.empty()) books_.interruptions.back().to = sinceStart();
    printer_.didResume(sinceStart());
}

void Night::micPermissionWasDenied() {
    const Lock lock(mutex_);
    books_.code = ExitCode::audio;
    printer_.micPermissionWasDenied();
}

void Night::didPrint(const std::string& line) {
    constexpr std::string_view kUpload = "] Tracking: request upload data, sequence = ";
    const Lock lock(mutex_);
    if (line.find(kUpload) != std::string::npos) {
        books_.handedOver.push_back(numberBehind(line, kUpload));
    } else if (line.ends_with("] Recorder: request stop")) {
        stopSeen_ = true;
    } else if (line.ends_with("] Tracking: request stop")) {
        stopSeen_ = false;
    } else if (line.ends_with("] Tracking: already stopped")) {
        if (!std::exchange(stopSeen_, false)) ++books_.dropped;
    }
}

// --- failure ---

void Night::didFail(const VelmorError& error) {
    bool stopNow = false;
    {
        const Lock lock(mutex_);
        stopSeen_ = false;
        const bool final = phase_ == Phase::analysing;  // no other failure is the last word
        if (final) books_.analysisFailure = error.description();
        stopNow = stopsRecording(error);
        fail(error, final);
    }
    if (stopNow) stop();
}

// The library has no microphone any more; without a stop the session would stay open for ever.
bool Night::stopsRecording(const VelmorError& error) const {
    return phase_ == Phase::open && problemOf(error, {}).code == ExitCode::audio;
}

// An analysis that is not there yet is no failure of the night.
void Night::fail(const VelmorError& error, bool final) {
    const Problem problem = problemOf(error, service_.absoluteString());
    ++books_.failures;
    lastMove_ = clock_->bootNow();
    const bool notYet = phase_ == Phase::analysing && problem.code == ExitCode::notFound;
    if (books_.code == ExitCode::done && !notYet) books_.code = problem.code;
    printer_.didFail(problem);
    if (final) setOver();
}

void Night::watch(std::size_t underWay, bool stalled) {
    const Lock lock(mutex_);
    const auto now = clock_->bootNow();
    if (underWay > 0) lastMove_ = now;
    if (phase_ == Phase::over || (phase_ == Phase::open && !stalled)) return;
    if (!stalled && now - lastMove_ < kPatience) return;
    switch (phase_) {
        case Phase::joining:
            return giveUp("the service did not answer");
        case Phase::starting:
            return giveUp("no session was opened");
        case Phase::open:
            return giveUp("recording came to a standstill");
        case Phase::stopping:
            return giveUp("the session was not closed");
        case Phase::analysing:
            return giveUp("the analysis was not answered");
        case Phase::over:
            return;
    }
}

void Night::giveUp(const std::string& reason) {
    if (phase_ == Phase::over) return;
    if (books_.code == ExitCode::done) books_.code = ExitCode::failed;
    printer_.failure(reason);
    setOver();
}

void Night::setOver() {
    if (!books_.ended) books_.ended = clock_->wallNow();
    phase_ = Phase::over;
    over_.notifyAll();
}

// --- questions ---

bool Night::isOver() const {
    const Lock lock(mutex_);
    return phase_ == Phase::over;
}

bool Night::hasSession() const {
    const Lock lock(mutex_);
    return books_.created;
}

bool Night::waitUntilOver(std::chrono::milliseconds time) const {
    Lock lock(mutex_);
    return over_.waitFor(lock, time, [this]() VELMOR_REQUIRES(mutex_) { return phase_ == Phase::over; });
}

NightBooks Night::books() const {
    const Lock lock(mutex_);
    return books_;
}

std::shared_ptr<Velmor::SleepTrackingManager> Night::manager() const {
    const Lock lock(mutex_);
    return manager_;
}

std::chrono::nanoseconds Night::sinceStart() const {
    return clock_->bootNow() - startedAt_;
}

}  // namespace VelmorApp
