/// Tracking one night: recording, uploads, closing and analysis. Obtained from `createSleepTrackingManager`.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <Velmor/Error.hpp>
#include <Velmor/Export.hpp>
#include <Velmor/Model.hpp>

namespace Velmor {

/// How a night that was started came to its end.
struct TrackingOutcome {
    enum class Kind {
        closed,            ///< recording was stopped and the session closed on the server
        notClosed,         ///< recording was stopped, but closing the session failed
        sessionGone,       ///< the server takes nothing more for the session; recording was stopped
        notCreated,        ///< the server opened no session; recording was stopped
        notRecording,      ///< the microphone could not be recorded, so no session was opened
        permissionDenied,  ///< the microphone may not be used; nothing was started
        stopped,           ///< stopped before there was a session; the server knows nothing of this night
        abandoned          ///< given up by `initVelmorConfig`, `setPlatform` or the manager's release
    };

    Kind kind;
    /// None when no session was opened for the night.
    std::optional<std::string> sessionId;
    /// What went wrong; `didFail` was told of it. With `closed` it is what made the library stop, none when
    /// the host did.
    std::optional<VelmorError> error;
};

/// Derived from by the application, which overrides what it wants to hear: every call does nothing by
/// itself. Every call comes on the library's main loop, one at a time, with no lock held: any entry point may
/// be called and the delegate released from inside. An exception is logged and dropped.
class VELMOR_API VelmorSleepTrackingManagerDelegate {
  public:
    virtual ~VelmorSleepTrackingManagerDelegate();
    virtual void didCreate();                               ///< the session exists on the server
    virtual void didUpload(std::int64_t sequence);          ///< the server accepted this chunk
    virtual void didClose(const std::string& sessionId);    ///< the session was closed
    virtual void didFail(const VelmorError& error);         ///< once for each failure
    virtual void didInterrupt();                            ///< recording was interrupted
    virtual void didResume();                               ///< recording goes on
    virtual void micPermissionWasDenied();                  ///< the microphone may not be used
    virtual void analysing(const Model::Session& session);  ///< an analysis answer arrived
    /// The night is over: the last call about it, and the one place to learn so. Every `startTracking` leads
    /// to exactly one such call, whatever happened; a start while a night is under way belongs to that night
    /// and shares its call. After `sessionGone`, `didFail` may still come for chunks that were waiting.
    virtual void trackingEnded(const TrackingOutcome& outcome);
};

struct TrackingStatus {
    std::optional<std::string> sessionId;  ///< of the open session
    bool recording = false;                ///< sound is being recorded: not in an interruption, for instance
};

/// Operations may be called on any thread and return at once; outcomes reach the delegate. A request in the
/// wrong state is logged and dropped. Releasing the last reference stops the recording and releases the
/// microphone. A night that was stopped before is still closed then, and its delegate hears of it.
class VELMOR_API SleepTrackingManager {
  public:
    SleepTrackingManager() = default;
    virtual ~SleepTrackingManager();
    SleepTrackingManager(const SleepTrackingManager&) = delete;
    SleepTrackingManager& operator=(const SleepTrackingManager&) = delete;

    virtual void startTracking() = 0;
    /// Ends an interruption that the system did not end: pads the gap and restarts the microphone.
    virtual void resumeTracking() = 0;
    /// Stops recording and closes the session; a chunk that is not full is dropped.
    virtual void stopTracking() = 0;
    /// Asks for the analysis of the open session, or of the last.
    virtual void requestAnalysis() = 0;
    virtual TrackingStatus getTrackingStatus() = 0;
};

}  // namespace Velmor
