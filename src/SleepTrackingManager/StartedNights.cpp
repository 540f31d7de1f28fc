#include "SleepTrackingManager/StartedNights.hpp"

#include <algorithm>
#include <utility>

namespace Velmor {

void StartedNights::start() {
    if (!std::exchange(underWay_, true)) recorderError_.reset();
}

void StartedNights::end(Kind kind, std::optional<std::string> sessionId, std::optional<VelmorError> error) {
    if (!std::exchange(underWay_, false)) return;
    if (!error && kind == Kind::notRecording) error = recorderError_;
    const TrackingOutcome outcome{kind, std::move(sessionId), std::move(error)};
    delegate_.tell([&](auto& delegate) { delegate.trackingEnded(outcome); });
}

void StartedNights::stop(const std::string& sessionId) {
    stopped_.push_back({sessionId, recorderError_});
    recorderError_.reset();
    underWay_ = false;
}

bool StartedNights::sendClose(const std::string& sessionId) {
    const auto night = std::ranges::find(stopped_, sessionId, &Stopped::sessionId);
    if (night == stopped_.end()) return false;
    night->closeSent = true;
    return true;
}

void StartedNights::unstop(const std::string& sessionId) noexcept {
    const auto night = std::ranges::find(stopped_, sessionId, &Stopped::sessionId);
    if (night == stopped_.end()) return;
    stopped_.erase(night);
    underWay_ = true;
}

void StartedNights::closed(const std::string& sessionId) {
    const auto night = std::ranges::find(stopped_, sessionId, &Stopped::sessionId);
    if (night != stopped_.end()) endStopped(Kind::closed, night, night->error);
}

void StartedNights::closeFailed(const VelmorError& error) {
    const auto night = std::ranges::find(stopped_, true, &Stopped::closeSent);
    if (night != stopped_.end()) endStopped(Kind::notClosed, night, error);
}

void StartedNights::sessionGone(const std::string& sessionId, const VelmorError& error) {
    const auto night = std::ranges::find(stopped_, sessionId, &Stopped::sessionId);
    if (night != stopped_.end() && !night->closeSent) endStopped(Kind::sessionGone, night, error);
}

std::vector<TrackingOutcome> StartedNights::abandon(const std::optional<std::string>& openSession) const {
    std::vector<TrackingOutcome> outcomes;
    for (const auto& night : stopped_) outcomes.push_back({Kind::abandoned, night.sessionId, night.error});
    if (underWay_) outcomes.push_back({Kind::abandoned, openSession, {}});
    return outcomes;
}

void StartedNights::endStopped(Kind kind, std::vector<Stopped>::iterator night,
                               const std::optional<VelmorError>& error) {
    const TrackingOutcome outcome{kind, std::move(night->sessionId), error};
    stopped_.erase(night);
    delegate_.tell([&](auto& delegate) { delegate.trackingEnded(outcome); });
}

}  // namespace Velmor
