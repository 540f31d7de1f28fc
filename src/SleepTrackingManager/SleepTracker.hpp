// The tracking state machine: joins recording, upload, close and analysis for one night.
#pragma once

#include "Log/LogAPI.hpp"
#include "Recorder/RecorderCore.hpp"
#include "Runtime/Channel.hpp"
#include "Runtime/Text.hpp"
#include "Runtime/ThreadSafety.hpp"
#include "SessionService/SessionsService.hpp"
#include "SleepTrackingManager/UploadBitmap.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include <Velmor/Recorder.hpp>
#include <Velmor/SleepTrackingManager.hpp>

namespace Velmor {

/// The operations at the top may be called on any thread; everything else happens on the main loop.
class SleepTracker : public VelmorRecordingDelegate, public std::enable_shared_from_this<SleepTracker> {
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

    static std::shared_ptr<SleepTracker> make(const std::shared_ptr<const Platform>& platform,
                                              const std::shared_ptr<LogAPI>& log, CaptureParts parts = {});
    ~SleepTracker() override;

    /// Before the first operation.
    void configure(Config config, const std::weak_ptr<VelmorSleepTrackingManagerDelegate>& delegate);

    void startTracking();
    void resumeTracking();
    void stopTracking();
    void requestAnalysis();
    TrackingStatus getTrackingStatus();
    /// Abandons the night.
    void reset();

    void recordedData(std::string data, std::int64_t sequence) override;
    void didFail(const VelmorError& error) override;
    void didInterrupt() override;
    void didResume() override;
    void micPermissionWasDenied() override;

  private:
    using Request = SessionsService::Request;
    using Answer = SessionsService::State;

    SleepTracker(const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log);

    template <class... Arguments>
    void onMainLoop(void (SleepTracker::*step)(Arguments...), Arguments... arguments);
    void connectSessions();

    void start();
    void resume();
    void started(bool permitted);
    void checkStart(std::uint64_t generation);
    void createSession();
    void stop();
    void closeSession(bool invalid);
    bool isInvalid() const;
    void analyse();
    void abandon();

    void handle(const Answer& answer);
    void created(const std::string& sessionId);
    void uploaded(const std::string& sessionId, std::int64_t sequence);
    void closed(const std::string& sessionId);
    void failed(const VelmorError& error);
    void stopRecording();

    void setState(State state);
    const std::string* openSession() const;
    template <class Call>
    void tell(Call call);
    void write(std::string_view message, LogAPI::Level level = LogAPI::Level::I) noexcept;
    void write(Pieces message, LogAPI::Level level = LogAPI::Level::I) noexcept;

    const std::shared_ptr<const Platform> platform_;
    const std::shared_ptr<LogAPI> log_;
    std::optional<Config> config_;                                // constant after configure
    std::weak_ptr<VelmorSleepTrackingManagerDelegate> delegate_;  // constant after configure

    // Confined to the main loop.
    Bag bag_;
    std::shared_ptr<RecorderCore> recorder_;
    std::shared_ptr<SessionsService> sessionService_;
    State state_;
    UploadBitmap bitmap_;
    std::uint64_t starts_ = 0;           // only the last start's check may open a session
    bool creating_ = false;              // create is under way
    bool stoppedWhileCreating_ = false;  // close as soon as the session exists
    bool closing_ = false;               // close is under way

    Mutex statusMutex_;
    TrackingStatus status_ VELMOR_GUARDED_BY(statusMutex_);
};

}  // namespace Velmor
