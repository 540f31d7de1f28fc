// One night through the public library, from joining the user to the answer of the analysis, and the books
// about it.
#pragma once

#include "ExitCode.hpp"
#include "Options.hpp"
#include "Runtime/ThreadSafety.hpp"
#include "Track/NightPrinter.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <Velmor/Velmor.hpp>

namespace VelmorApp {

/// What happened so far. Times are of the library's clock.
struct NightBooks {
    std::string userId;
    std::string sessionId;                  ///< empty while there is none
    std::optional<Velmor::WallTime> began;  ///< recording was asked for
    std::optional<Velmor::WallTime> ended;  ///< recording was stopped
    std::vector<std::int64_t> handedOver;   ///< numbers, in order
    std::set<std::int64_t> uploaded;
    std::int64_t dropped = 0;            ///< finished, but there was no session to upload them to
    std::vector<Stretch> interruptions;  ///< from the start; one that did not end has no length
    bool created = false;
    bool closed = false;
    std::optional<Velmor::Model::Session> analysis;
    std::string analysisFailure;
    std::size_t failures = 0;  ///< didFail calls
    ExitCode code = ExitCode::done;

    std::vector<std::int64_t> missing() const;  ///< handed over, but not confirmed
};

/// The library calls it on its main loop; everything else may be called on any thread.
class Night : public Velmor::VelmorConfigDelegate,
              public Velmor::VelmorSleepTrackingManagerDelegate,
              public std::enable_shared_from_this<Night> {
  public:
    /// `started` is called once, on the main loop, when recording was asked for.
    Night(const SharedOptions& shared, const Velmor::Url& service, bool analysis,
          std::shared_ptr<Velmor::Clock> clock, NightPrinter& printer, std::function<void()> started);

    void begin();
    /// The sound is at its end, or the night is long enough: stop, close, ask for the analysis.
    void stop();
    /// The same in a hurry: without analysis, and at once while nothing is open.
    void interrupt();
    /// Gives up what would wait for ever: `underWay` requests at the service, nothing else that could move.
    void watch(std::size_t underWay, bool stalled);

    bool isOver() const;
    /// Whether answers of the service still matter once it is over.
    bool hasSession() const;
    /// True when it is.
    bool waitUntilOver(std::chrono::milliseconds time) const;
    NightBooks books() const;

    void userDidJoin(const std::string& userId, const Velmor::Config& config) override;
    void didFailUserJoin(const Velmor::VelmorError& error) override;
    void userDidDelete(const std::string& userId) override;

    void didCreate() override;
    void didUpload(std::int64_t sequence) override;
    void didClose(const std::string& sessionId) override;
    void didFail(const Velmor::VelmorError& error) override;
    void didInterrupt() override;
    void didResume() override;
    void micPermissionWasDenied() override;
    void analysing(const Velmor::Model::Session& session) override;
    void trackingEnded(const Velmor::TrackingOutcome& outcome) override;

    /// A debug line of the library's: some of what must be in the books is told there only.
    void didPrint(const std::string& line);

  private:
    enum class Phase { joining, starting, open, stopping, analysing, over };

    std::shared_ptr<Velmor::SleepTrackingManager> manager() const;

    // With the mutex held.
    void fail(const Velmor::VelmorError& error, bool final) VELMOR_REQUIRES(mutex_);
    bool stopsRecording(const Velmor::VelmorError& error) const VELMOR_REQUIRES(mutex_);
    void setOver() VELMOR_REQUIRES(mutex_);
    void giveUp(const std::string& reason) VELMOR_REQUIRES(mutex_);
    std::chrono::nanoseconds sinceStart() const VELMOR_REQUIRES(mutex_);

    const SharedOptions& shared_;
    const Velmor::Url service_;
    const std::shared_ptr<Velmor::Clock> clock_;
    NightPrinter& printer_;
    const std::function<void()> started_;

    mutable Velmor::Mutex mutex_;  // guards what follows; never held while calling the library
    mutable Velmor::Condition over_;
    std::shared_ptr<Velmor::SleepTrackingManager> manager_ VELMOR_GUARDED_BY(mutex_);
    NightBooks books_ VELMOR_GUARDED_BY(mutex_);
    Phase phase_ VELMOR_GUARDED_BY(mutex_) = Phase::joining;
    bool analysis_ VELMOR_GUARDED_BY(mutex_);
    bool stopWanted_ VELMOR_GUARDED_BY(mutex_) = false;
    bool stopSeen_ VELMOR_GUARDED_BY(mutex_) =
        false;  // the library's next "already stopped" answers a stop, not a chunk
    Velmor::BootTime startedAt_ VELMOR_GUARDED_BY(mutex_){};
    Velmor::BootTime lastMove_ VELMOR_GUARDED_BY(mutex_){};  // when something last happened or was under way
};

}  // namespace VelmorApp
