// Captures the microphone at 48 kHz, resamples it to 16 kHz and cuts it into chunks of 30 s; each full chunk
// is converted into a mel spectrogram and published with the number of its period.
#pragma once

#include "Log/LogAPI.hpp"
#include "Recorder/CaptureEngine.hpp"
#include "Recorder/CaptureParts.hpp"
#include "Recorder/CaptureQueue.hpp"
#include "Recorder/ChunkCutter.hpp"
#include "Recorder/ChunkPublisher.hpp"
#include "Recorder/SessionObserver.hpp"
#include "Runtime/Channel.hpp"
#include "Runtime/Text.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <Velmor/Error.hpp>
#include <Velmor/Platform.hpp>

namespace Velmor {

/// Mono frames at 48 kHz, valid during the call that hands them over.
struct PcmBuffer {
    std::span<const float> frames;
    BootTime captured;  ///< of the last frame
};

/// The state machine of a recording. Everything here belongs to the main loop: operations are called there
/// and channels send there. Only the last reference may drop anywhere; the microphone is released then.
class RecordingService : public std::enable_shared_from_this<RecordingService> {
  public:
    struct State {
        struct started {
            WallTime date;
        };
        struct stopped {
            std::optional<VelmorError> error;
        };
        struct error {
            VelmorError error;
        };
        struct notDetermined {};
        struct ready {};
        struct interrupted {};
        struct resumed {};

        std::variant<started, stopped, error, notDetermined, ready, interrupted, resumed> value;

        template <class T>
        bool is() const noexcept {
            return std::holds_alternative<T>(value);
        }
        /// For log lines, for instance "started(2024-03-05T23:10:04Z)" or "error(unknown(...))".
        std::string description() const;
    };

    static std::shared_ptr<RecordingService> make(const std::shared_ptr<const Platform>& platform,
                                                  const std::shared_ptr<LogAPI>& log,
                                                  CaptureParts parts = {});
    ~RecordingService();

    /// Each refuses in the wrong state with a debug line and changes none; a stop that is refused after an
    /// error releases the microphone all the same.
    void start();
    void stop();
    /// Goes on after an interruption that the system did not end.
    void resume();
    /// Back to `notDetermined`, whatever the state.
    void reset();

    State state() const { return stateSender.value(); }
    /// When the recording started; none while there is no recording.
    std::optional<WallTime> firstFrameTime() const;
    /// Time since then, on the clock that counts sleep.
    std::optional<std::chrono::nanoseconds> sinceFirstFrame() const;

    /// Whether sound is being recorded at this moment. Any thread.
    bool isRecording() const noexcept { return recording_; }

    // Sent by this service and heard by others: it does not listen to itself.
    CurrentValue<State> stateSender{State{State::notDetermined{}}};  ///< each state, before it is acted upon
    Channel<PcmBuffer> bufferSender;
    Channel<VelmorError> errorSender;
    Channel<bool> interruptedSender;  ///< true when an interruption begins, false when recording resumes
    Channel<ChunkData> dataSender;

  private:
    /// One moment on both clocks.
    struct Moment {
        WallTime date;
        BootTime time;
    };
    /// What is done with the frames that come.
    enum class Input {
        taken,    ///< they become chunks
        ignored,  ///< in an interruption, and after a failure to start the engine for the first time
        awaited   ///< they stay away unannounced; the next resume the recording
    };
    enum class Cause { system, missingFrames };
    /// How an interruption ends.
    struct Resumption {
        BootTime at;               ///< the time before it that was not recorded becomes silence
        bool byFrames = false;     ///< frames came back by themselves: the engine runs
        bool freshEngine = false;  ///< the engine before is of no use any more
    };

    RecordingService(const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log,
                     CaptureParts parts);

    // states
    template <class Entry>
    void enter(State state, Entry entry);
    void enterReady();
    void enterStarted(WallTime date);
    void enterStopped(const std::optional<VelmorError>& error);
    void enterError(const VelmorError& error);
    void enterInterrupted(Cause cause);
    void enterResumed(const Resumption& resumption);
    void beginRecording(WallTime date);
    void interrupt(Cause cause);
    void continueRecording(const Resumption& resumption);

    // engine
    bool rebuildEngine(bool fresh);
    void startEngine();
    void runEngine();
    std::exception_ptr tryActivating();
    void engineFailed(const std::exception_ptr& failure);
    void engineFailed(const VelmorError& error, std::string_view line);

    // end
    bool handOverWaiting();
    void release(bool logRemovals);
    void removeChunkFiles(bool logRemovals);

    // frames
    AudioEngine::Tap makeTap();
    void drain();
    void flush();
    void takeBlocks(std::size_t atLeast);
    void take(const CaptureQueue::Block& block);
    void process(const PcmBuffer& buffer);
    void reportLost();
    bool isTaking() const;
    bool isOver() const;

    // watch for frames that stay away
    void watchAfter(std::chrono::nanoseconds delay);
    void watch();
    void awaitFrames();
    void restartEngine();

    // events of the audio session
    void notified(const AudioNotification& notification);
    void notified(const AudioNotification::InterruptionBegan& event);
    void notified(const AudioNotification::InterruptionEnded& event);
    void notified(const AudioNotification::EngineConfigurationChanged& event);
    void notified(const AudioNotification::RouteChanged& event);
    void notified(const AudioNotification::MediaServicesReset& event);

    BootTime now() const { return platform_->clock->bootNow(); }
    /// To be called when one of the conditions has changed.
    void updateRecording() noexcept;
    void logState(std::string_view text) noexcept;
    void logError(Pieces text) noexcept;

    static constexpr std::chrono::seconds kLongestSilence{2};  // without frames, before it is an interruption
    static constexpr std::chrono::seconds kShortestRetryDelay{1};
    static constexpr std::chrono::seconds kLongestRetryDelay{60};

    const std::shared_ptr<const Platform> platform_;
    const std::shared_ptr<LogAPI> log_;
    const CaptureParts parts_;

    Bag bag_;  // what is heard during a recording
    std::optional<Moment> firstFrameTime_;
    std::optional<BootTime> interruptStartTime_;
    std::unique_ptr<ChunkCutter> cutter_;  // the chunk files; there while there is a recording
    CaptureEngine engine_;
    bool isResuming_ = false;  // from the end of an interruption to the first frames after it

    const std::shared_ptr<SessionObserver> session_;
    std::shared_ptr<ChunkPublisher> publisher_;
    const std::unique_ptr<Resampler> resampler_;
    std::shared_ptr<CaptureQueue> queue_;  // of the current recording; its tap holds it too
    std::vector<float> block_;

    Input input_ = Input::taken;
    BootTime lastEnd_{};                                        // up to here frames were taken or silence put
    BootTime engineStart_{};                                    // when frames were last expected to begin
    bool engineRan_ = false;                                    // or was asked to run by a resume
    bool engineRestarted_ = false;                              // time is missing before the next frame
    std::uint64_t watchGeneration_ = 0;                         // only the latest watch acts
    std::chrono::nanoseconds retryDelay_{kShortestRetryDelay};  // while frames are awaited
    std::vector<std::string>
        toldFailures_;  // of the engine, since frames or a resume came; each is told once
    std::uint64_t recordingGeneration_ = 0;  // changes with every start, stop and reset
    std::uint64_t droppedBuffers_ = 0;       // of the current recording
    std::atomic<bool> recording_{false};
};

}  // namespace Velmor
