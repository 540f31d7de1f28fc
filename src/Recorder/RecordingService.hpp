// Captures the microphone at 48 kHz, resamples it to 16 kHz and cuts it into chunks of 30 s; each full chunk
// is converted into a mel spectrogram and published with the number of its period.
#pragma once

#include "Log/LogAPI.hpp"
#include "Recorder/CaptureParts.hpp"
#include "Runtime/Channel.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include <Velmor/Error.hpp>
#include <Velmor/Platform.hpp>

namespace Velmor {

/// Mono frames at 48 kHz, valid during the call that hands them over.
struct PcmBuffer {
    std::span<const float> frames;
    BootTime captured;  ///< of the last frame
};

/// One finished chunk.
struct ChunkData {
    std::string bytes;  ///< of its mel spectrogram file
    std::int64_t sequence;
};

/// Everything here belongs to the main loop: operations are called there and channels send there. Only the
/// last reference may drop anywhere; the microphone is released then.
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
    /// error lets go of the microphone all the same.
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

    CurrentValue<State> stateSender{State{State::notDetermined{}}};
    Channel<PcmBuffer> bufferSender;
    Channel<VelmorError> errorSender;
    Channel<bool> interruptedSender;  ///< true when an interruption begins, false when recording resumes
    Channel<ChunkData> dataSender;

  private:
    class Capture;  // the state machine behind

    RecordingService();

    std::unique_ptr<Capture> capture_;
    std::atomic<bool> recording_{false};  // written by the capture
    Subscription handler_;
};

}  // namespace Velmor
