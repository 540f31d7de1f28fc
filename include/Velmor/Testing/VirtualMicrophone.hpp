/// A microphone that plays a source, on a clock that a test or a replay moves. Installed as
/// `Platform::audio`.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <Velmor/Error.hpp>
#include <Velmor/Platform/Audio.hpp>
#include <Velmor/Platform/Clock.hpp>
#include <Velmor/Platform/Executor.hpp>

namespace Velmor::Testing {

/// What there is to be heard: mono frames at 48 kHz.
class AudioSource {
  public:
    virtual ~AudioSource() = default;
    /// Fills `out` with the frames from `firstFrame` on, counted from when the microphone was first started;
    /// the position may jump ahead, never back. Returns how many frames there were, fewer than asked for only
    /// at the end. One call at a time.
    virtual std::size_t read(std::uint64_t firstFrame, std::span<float> out) = 0;
};

/// While its engine runs it delivers a buffer of 19,200 frames every 0.4 s, each with its exact capture time.
/// The position in the source follows the clock, also while nothing is recorded, as it does in a bedroom. An
/// executor that runs more than a second late has slept, and the microphone with it: those frames are lost.
///
/// Permission is granted, the format 48 kHz mono and nothing fails until it is told otherwise. What a real
/// engine would refuse is refused with a std::logic_error and kept in `refusals`; a call from inside a tap is
/// refused too. What an engine has gathered of a buffer when it stops or pauses is lost.
///
/// Any thread; taps are called on the executor with the microphone's mutex held, observers without.
class VirtualMicrophone : public AudioSystem {
  public:
    VirtualMicrophone(std::shared_ptr<Executor> executor, std::shared_ptr<const Clock> clock,
                      std::shared_ptr<AudioSource> source);
    ~VirtualMicrophone() override;

    AudioSession& session() override;
    std::unique_ptr<AudioEngine> makeEngine() override;

    void setPermission(RecordPermission permission);
    /// What the user says when asked, each as an answer of its own; empty for never. One `true` at first.
    void setPermissionAnswers(std::vector<bool> answers);

    /// An interruption from `from` to `to` after the microphone was first started. Repeatable; to be called
    /// before the start.
    void scheduleInterruption(std::chrono::nanoseconds from, std::chrono::nanoseconds to);
    /// Now: stops the engine and notifies.
    void beginInterruption();
    /// Notifies; it is for the client to start the engine again.
    void endInterruption();

    void loseBuffers(std::size_t count);  ///< the next ones, with their time
    void setDelivering(bool delivering);  ///< false: buffers stay away, without a notification
    /// Frames of each buffer in turn, instead of 19,200; not all of them 0.
    void setBufferSizes(std::vector<std::uint32_t> sizes);
    void setInputFormat(AudioFormat format);  ///< without a notification
    /// Stops the engine and notifies that its configuration changed.
    void changeInputFormat(AudioFormat format);
    void changeRoute(std::string reason, std::vector<std::string> previousOutputs);
    void resetMediaServices();  ///< stops the engine and notifies
    void notify(const AudioNotification& notification);

    /// What the operation throws from now on; none for success.
    void failConfiguring(std::optional<PlatformError> error);
    void failActivating(std::optional<PlatformError> error);
    void failStarting(std::optional<PlatformError> error);

    /// `ended` is called once, on the executor, after the last frame of the source was delivered.
    void whenEnded(std::function<void()> ended);

    /// What was asked of the session and the engines since the last call, in order and at most the last
    /// thousand, for instance "configure 48000 mixing speaker built-in", "activate", "make engine",
    /// "attach mixer 0", "install tap 19200 48000x1", "start", "pause", "remove tap", "detach mixer", "stop",
    /// "release". The removal of a tap that is not there is left out.
    std::vector<std::string> takeCalls();
    /// What was asked for and refused: a second tap, a tap that is not of the input's format, a second mixer
    /// or the removal of none, a start without a tap, a mixer or an active session, and an active session
    /// that was never configured.
    std::vector<std::string> refusals() const;

    /// Whether an engine that is started now, with the session activated, gets frames at 48 kHz mono.
    bool isAvailable() const;
    bool isRunning() const;
    std::size_t taps() const;      ///< installed at this moment
    std::size_t mostTaps() const;  ///< that were ever installed at once
    std::size_t engines() const;   ///< alive at this moment
    bool isObserved() const;
    std::uint64_t framesDelivered() const;

  private:
    struct Room;
    class Session;
    class Engine;

    const std::shared_ptr<Room> room_;  // engines may outlive the microphone
    const std::unique_ptr<Session> session_;
};

}  // namespace Velmor::Testing
