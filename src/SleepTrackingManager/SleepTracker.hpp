// The tracking state machine: joins recording, upload, close and analysis for one night.
#pragma once

#include "Log/LogAPI.hpp"
#include "Recorder/MicrophoneRecorder.hpp"
#include "Runtime/Channel.hpp"
#include "Runtime/Text.hpp"
#include "Runtime/ThreadSafety.hpp"
#include "SessionService/SessionsService.hpp"
#include "SleepTrackingManager/StartedNights.hpp"
#include "SleepTrackingManager/TrackingDelegate.hpp"
#include "SleepTrackingManager/UploadBitmap.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include <Velmor/Recorder.hpp>
#include <Velmor/SleepTrackingManager.hpp>

namespace Velmor {

/// The operations at the top may be called on any thread; everything else happens on the main loop.
class SleepTracker : public SleepTrackingManager,
                     public VelmorRecordingDelegate,
                     public std::enable_shared_from_this<SleepTracker> {
  public:
    struct State {
        struct open {
            std::string sesssionId;
        };
        struct close {
            std::string sesssionId;
        };
        struct none {};
        std::variant<open, close, none> value = none{};
    };

    static std::shared_ptr<SleepTracker> make(
        const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log,
        const Config& config, const std::weak_ptr<VelmorSleepTrackingManagerDelegate>& delegate,
        CaptureParts parts = {});
    ~SleepTracker() override;

    void startTracking() override;
    void resumeTracking() override;
    void stopTracking() override;
    void requestAnalysis() override;
    TrackingStatus getTrackingStatus() override;
    /// Abandons the night; the status says so on return. A night that was stopped before is still closed.
    void reset();
    const std::shared_ptr<SessionsService>& sessionService() const { return sessionService_; }
    /// On the main loop. Calls `release` when no stopped night waits for its close any more, perhaps at once.
    void whenNothingIsClosing(std::function<void()> release);

    void recordedData(std::string data, std::int64_t sequence) override;
    void didFail(const VelmorError& error) override;
    void didInterrupt() override;
    void didResume() override;
    void micPermissionWasDenied() override;

  private:
    using Request = SessionsService::Request;
    using Answer = SessionsService::State;
    using Kind = TrackingOutcome::Kind;

    SleepTracker(const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log,
                 const Config& config, const std::weak_ptr<VelmorSleepTrackingManagerDelegate>& delegate);

    template <class... Parameters, class... Arguments>
    void onMainLoop(void (SleepTracker::*step)(Parameters...), Arguments... arguments);
    void connectSessions();

    void start();
    void resume();
    void permissionAnswered(std::uint64_t generation, bool permitted);
    void checkStart(std::uint64_t generation);
    void startFailed(const RecordingService::State& state);
    void createSession();
    void stop();
    bool stopAndClose(bool invalid);
    bool closeNight(bool invalid);
    void sendClose(const std::string& sessionId, bool invalid);
    bool isInvalid() const;
    bool isClosing() const;
    void analyse();
    void abandon();

    void handle(const Answer& answer);
    void created(const std::string& sessionId);
    void uploaded(const std::string& sessionId, std::int64_t sequence);
    void closed(const std::string& sessionId);
    void failed(const Answer::error& failure);
    void logFailure(const VelmorError& error);
    void creationFailed(const VelmorError& error);
    void closeFailed(const VelmorError& error);
    void sessionGone(const std::string& sessionId, const VelmorError& error);

    void releaseWhenNothingIsClosing();
    void setState(State state);
    const std::string* openSession() const;
    /// As much of the error's description as a line of the log shows.
    void writeError(const VelmorError& error) noexcept;
    void write(std::string_view message, LogAPI::Level level = LogAPI::Level::I) noexcept;
    void write(Pieces message, LogAPI::Level level = LogAPI::Level::I) noexcept;

    const std::shared_ptr<const Platform> platform_;
    const std::shared_ptr<LogAPI> log_;
    const Config config_;
    const TrackingDelegate delegate_;

    // Confined to the main loop.
    Bag bag_;
    std::shared_ptr<MicrophoneRecorder> recorder_;
    std::shared_ptr<SessionsService> sessionService_;
    State state_;
    UploadBitmap bitmap_;
    StartedNights nights_;
    std::uint64_t permissionGeneration_ = 0;  // of the last start that asked for the permission
    std::uint64_t startGeneration_ = 0;       // of the last start that waits for its check
    bool checkAgain_ = false;                 // the check found an interruption; its end has it made again
    bool creating_ = false;                   // create is under way
    bool stoppedWhileCreating_ = false;       // close as soon as the session exists
    std::function<void()> release_;           // called when no stopped night waits any more

    Mutex statusMutex_;
    std::optional<std::string> sessionId_ VELMOR_GUARDED_BY(statusMutex_);  // of the open session
    int resets_ VELMOR_GUARDED_BY(statusMutex_) = 0;  // asked for, and not carried out yet
};

}  // namespace Velmor
