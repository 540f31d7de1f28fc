// What the tracking does with the answers of the service.
#include "Runtime/Contain.hpp"
#include "Runtime/Text.hpp"
#include "SleepTrackingManager/SleepTracker.hpp"

#include <exception>
#include <string>
#include <utility>

namespace Velmor {
namespace {

std::string causeOf(const VelmorError& error) {
    std::exception_ptr cause;
    if (const auto* start = error.as<VelmorError::startTrackingNetworkFail>()) cause = start->cause;
    if (const auto* close = error.as<VelmorError::stopTrackingNetworkFail>()) cause = close->cause;
    std::string text;
    if (cause) contain([&] { std::rethrow_exception(cause); }, [&](const std::string& why) { text = why; });
    return text;
}

}  // namespace

void SleepTracker::handle(const Answer& answer) {
    if (const auto* create = std::get_if<Answer::create>(&answer.value)) {
        created(create->sessionId);
    } else if (const auto* upload = std::get_if<Answer::upload>(&answer.value)) {
        uploaded(upload->sessionId, upload->sequence);
    } else if (const auto* close = std::get_if<Answer::close>(&answer.value)) {
        closed(close->sessionId);
    } else if (const auto* analysis = std::get_if<Answer::analysis>(&answer.value)) {
        log_->debugPrint("Session Tracking Analysis");
        delegate_.tell([&](auto& delegate) { delegate.analysing(analysis->report.session); });
    } else if (const auto* error = std::get_if<Answer::error>(&answer.value)) {
        failed(*error);
    }
}

void SleepTracker::created(const std::string& sessionId) {
    creating_ = false;
    log_->debugPrint({"Session created: sessionId = ", sessionId});
    write({"[RESP] sessionId ", sessionId});
    bitmap_.finish();  // what was confirmed after the stop belongs to the session before
    setState({State::open{sessionId}});
    delegate_.tell([](auto& delegate) { delegate.didCreate(); });
    // The host stopped before the session existed: nobody else would close it.
    if (std::exchange(stoppedWhileCreating_, false)) {
        log_->debugPrint("Tracking: request stop");
        nights_.stop(sessionId);
        sendClose(sessionId, true);
    }
}

void SleepTracker::uploaded(const std::string& sessionId, std::int64_t sequence) {
    contain([&] {
        log_->debugPrint(
            {"Session uploaded: sessionId = ", sessionId, ", sequence = ", std::to_string(sequence)});
        bitmap_.mark(sequence);
    });
    delegate_.tell([&](auto& delegate) { delegate.didUpload(sequence); });
}

void SleepTracker::closed(const std::string& sessionId) {
    log_->debugPrint({"Session closed: sessionId = ", sessionId});
    write({"[RESP] closed ", sessionId});
    bitmap_.finish();  // uploads confirmed since the stop, so that the shipped log has them
    setState({State::close{sessionId}});
    nights_.closed(sessionId);
    releaseWhenNothingIsClosing();
}

void SleepTracker::failed(const Answer::error& failure) {
    const auto& error = failure.error;
    contain([&] { logFailure(error); });
    if (failure.kind == Answer::error::Kind::create)
        creationFailed(error);
    else if (failure.kind == Answer::error::Kind::close)
        closeFailed(error);
    else if (failure.closedSessionId)
        sessionGone(*failure.closedSessionId, error);
    else
        delegate_.tell([&](auto& delegate) { delegate.didFail(error); });
}

void SleepTracker::logFailure(const VelmorError& error) {
    const auto cause = causeOf(error);
    if (cause.empty())
        log_->debugPrintError(error);
    else
        log_->debugPrint({error.description(), ", cause: ", cause});
    writeError(error);
    if (!cause.empty()) write({"cause: ", cause}, LogAPI::Level::E);
}

// In all three the state changes first: what the recording hands over while it stops must not go to a session
// that takes nothing more, and a host that asks inside `didFail` must find the new state.

void SleepTracker::creationFailed(const VelmorError& error) {
    creating_ = stoppedWhileCreating_ = false;
    setState({State::none{}});
    contain([this] { recorder_->stop(); });  // nobody would take its chunks
    delegate_.tell([&](auto& delegate) { delegate.didFail(error); });
    nights_.end(Kind::notCreated, {}, error);
    releaseWhenNothingIsClosing();
}

void SleepTracker::closeFailed(const VelmorError& error) {
    setState({State::none{}});
    delegate_.tell([&](auto& delegate) { delegate.didFail(error); });
    nights_.closeFailed(error);
    releaseWhenNothingIsClosing();
}

// Only the current session's end is the recording's. An older session may have chunks that are still refused.
void SleepTracker::sessionGone(const std::string& sessionId, const VelmorError& error) {
    const auto* open = openSession();
    const bool isCurrent = open != nullptr && *open == sessionId;
    if (isCurrent) {
        setState({State::none{}});
        contain([this] { recorder_->stop(); });
    }
    delegate_.tell([&](auto& delegate) { delegate.didFail(error); });
    nights_.sessionGone(sessionId, error);
    if (isCurrent) nights_.end(Kind::sessionGone, sessionId, error);
    releaseWhenNothingIsClosing();
}

}  // namespace Velmor
