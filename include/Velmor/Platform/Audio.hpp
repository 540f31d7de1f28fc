/// The audio seam: a session (permission, category, what happens around the recording) and an engine
/// (frames).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include <Velmor/Error.hpp>
#include <Velmor/Export.hpp>
#include <Velmor/Platform/Clock.hpp>

namespace Velmor {

struct AudioFormat {
    double sampleRate = 0.0;         ///< Hz
    std::uint32_t channelCount = 0;  ///< interleaved 32-bit float

    bool operator==(const AudioFormat&) const = default;
};

enum class RecordPermission { granted, undetermined, denied };

/// Play-and-record, mixing with other applications, over the loudspeaker; built-in microphone preferred.
struct AudioSessionSettings {
    double preferredSampleRate = 48'000.0;
    bool mixWithOthers = true;
    bool defaultToSpeaker = true;
    bool preferBuiltInMicrophone = true;
};

/// What an audio session tells. `details` is the platform's own description, for the log.
struct AudioNotification {
    struct InterruptionBegan {};
    struct InterruptionEnded {};
    struct EngineConfigurationChanged {};
    struct RouteChanged {
        std::string reason;
        std::vector<std::string> previousOutputs;  ///< port types
    };
    struct MediaServicesReset {};

    std::variant<InterruptionBegan, InterruptionEnded, EngineConfigurationChanged, RouteChanged,
                 MediaServicesReset>
        event;
    std::string details;
};

/// Operations are called on the main loop. `configure` and `activate` throw PlatformError, kind
/// `backgroundActivation` when the application is in the background.
class AudioSession {
  public:
    using Observer = std::function<void(const AudioNotification&)>;

    virtual ~AudioSession() = default;
    virtual void configure(const AudioSessionSettings& settings) = 0;
    virtual void activate() = 0;
    virtual RecordPermission recordPermission() = 0;
    /// Asks the user. `answer` is called on any thread, at any later time, perhaps never, perhaps more than
    /// once.
    virtual void requestRecordPermission(std::function<void(bool)> answer) = 0;
    /// Replaces the observer; an empty one ends observation. Called on any thread of the platform's.
    virtual void observe(Observer observer) = 0;
};

/// One input. Operations are called on the main loop; `start` throws PlatformError. Destroying it stops it
/// and releases the device, whatever its state; after `removeTap`, `stop` or destruction the tap is not
/// called any more.
class AudioEngine {
  public:
    /// `frames` are mono samples, valid during the call only; `captured` is the time of the last of them.
    /// Called on the audio thread: it copies and returns.
    using Tap = std::function<void(std::span<const float> frames, BootTime captured)>;

    virtual ~AudioEngine() = default;
    virtual AudioFormat inputFormat() = 0;
    virtual bool isRunning() = 0;
    virtual void attachMixer(float volume) = 0;
    virtual void detachMixer() = 0;
    /// `bufferFrames` frames of `format` a call. At most one tap; the caller removes the former first.
    virtual void installTap(std::uint32_t bufferFrames, const AudioFormat& format, Tap tap) = 0;
    virtual void removeTap() = 0;
    virtual void start() = 0;
    virtual void pause() = 0;
    /// Stops and resets.
    virtual void stop() = 0;
};

/// Operations are called on the main loop. The session belongs to the system; engines may outlive it.
class AudioSystem {
  public:
    virtual ~AudioSystem() = default;
    virtual AudioSession& session() = 0;
    /// Not null. Throws PlatformError; a microphone that is not there may also be told by
    /// `AudioEngine::start`.
    virtual std::unique_ptr<AudioEngine> makeEngine() = 0;
};

struct AudioOptions {
    std::string source;  ///< the system's name of the input; its default when empty
};

/// The system's own microphone; capture times come from `clock`. Never null, and nothing is opened yet: where
/// there is no sound server, or no library to speak to it, the session says so when it is activated, and
/// where there is no such input the engine does when it is started (`audioUnavailable`). Permission is
/// undetermined until it was asked for. Any thread; no operation may be called from inside a tap.
VELMOR_API std::shared_ptr<AudioSystem> makeAudioSystem(const std::shared_ptr<Clock>& clock,
                                                        AudioOptions options = {});

}  // namespace Velmor
