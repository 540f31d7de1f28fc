// The nights that a host started with one manager, and the word on the end of each.
#pragma once

#include "SleepTrackingManager/TrackingDelegate.hpp"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <Velmor/SleepTrackingManager.hpp>

namespace Velmor {

/// At most one night is under way; others may be stopped and wait for their sessions to be closed. Each ends
/// with one call of `trackingEnded`. Used on the main loop.
class StartedNights {
  public:
    using Kind = TrackingOutcome::Kind;

    explicit StartedNights(TrackingDelegate delegate) : delegate_(std::move(delegate)) {}

    /// A start joins the night under way, if there is one.
    void start();
    bool isUnderWay() const { return underWay_; }
    /// What the recorder failed with; it goes into the outcome of this night when nothing else does.
    void recorderFailed(const VelmorError& error) { recorderError_ = error; }

    /// Ends the night under way, if there is one, before it had a session or without a close.
    void end(Kind kind, std::optional<std::string> sessionId, std::optional<VelmorError> error);

    /// The night under way was stopped and waits for the close of its session.
    void stop(const std::string& sessionId);
    bool areWaiting() const { return !stopped_.empty(); }
    /// The close is about to be sent. False when the night ended meanwhile.
    bool sendClose(const std::string& sessionId);
    /// The close could not be sent: the night is under way again, so that its host may stop it again.
    void unstop(const std::string& sessionId) noexcept;
    void closed(const std::string& sessionId);
    /// The close that was sent first failed: closes are answered in the order in which they were sent.
    void closeFailed(const VelmorError& error);
    /// The server takes nothing more for this session. A night whose close was sent waits for its answer.
    void sessionGone(const std::string& sessionId, const VelmorError& error);

    /// What is to be told of every night that has not ended, `openSession` being that of the night under way.
    std::vector<TrackingOutcome> abandon(const std::optional<std::string>& openSession) const;

  private:
    struct Stopped {
        std::string sessionId;
        std::optional<VelmorError> error;  ///< what made the library stop, none when the host did
        bool closeSent = false;            ///< not while the last chunks are being handed over
    };

    void endStopped(Kind kind, std::vector<Stopped>::iterator night, const std::optional<VelmorError>& error);

    const TrackingDelegate delegate_;
    bool underWay_ = false;
    std::optional<VelmorError> recorderError_;  // of the night under way
    std::vector<Stopped> stopped_;              // oldest first
};

}  // namespace Velmor
