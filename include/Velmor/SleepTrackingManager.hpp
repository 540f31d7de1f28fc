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

/// Implemented by the application. Every call comes on the library's main loop, one at a time, with no lock
/// held: any entry point may be called and the delegate released from inside. An exception is logged and
/// dropped.
class VELMOR_API VelmorSleepTrackingManagerDelegate {
  public:
    virtual ~VelmorSleepTrackingManagerDelegate();
    virtual void didCreate() = 0;                             ///< the session exists on the server
    virtual void didUpload(std::int64_t sequence) = 0;        ///< the server accepted this chunk
    virtual void didClose(const std::string& sessionId) = 0;  ///< the session was closed
    virtual void didFail(const VelmorError& error) = 0;       ///< once for each failure
    virtual void didInterrupt() = 0;                          ///< recording was interrupted
    virtual void didResume() = 0;                             ///< recording goes on
    virtual void micPermissionWasDenied() = 0;
    virtual void analysing(const Model::Session& session) = 0;  ///< an analysis answer arrived
};

struct TrackingStatus {
    std::optional<std::string> sessionId;  ///< of the open session
};

class SleepTracker;

/// Operations may be called on any thread and return at once; outcomes reach the delegate. A request in the
/// wrong state is logged and dropped. Releasing the last reference stops the recording and releases the
/// microphone.
class VELMOR_API SleepTrackingManager {
  public:
    explicit SleepTrackingManager(std::shared_ptr<SleepTracker> tracker);
    ~SleepTrackingManager();
    SleepTrackingManager(const SleepTrackingManager&) = delete;
    SleepTrackingManager& operator=(const SleepTrackingManager&) = delete;

    void startTracking();
    /// Ends an interruption that the system did not end: pads the gap and restarts the microphone.
    void resumeTracking();
    /// Stops recording and closes the session; a chunk that is not full is dropped.
    void stopTracking();
    /// Asks for the analysis of the open session, or of the last.
    void requestAnalysis();
    TrackingStatus getTrackingStatus();

  private:
    std::shared_ptr<SleepTracker> tracker_;
};

}  // namespace Velmor
