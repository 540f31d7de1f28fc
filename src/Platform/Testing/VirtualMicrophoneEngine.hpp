// The inside of the virtual microphone: the room that is heard, and the engines that listen.
#pragma once

#include "Runtime/ThreadSafety.hpp"

#include <algorithm>
#include <atomic>
#include <thread>
#include <utility>

#include <Velmor/Testing/VirtualMicrophone.hpp>

namespace Velmor::Testing {

/// One call of the session or of an engine. Kept as it is, because its text takes memory.
struct Asked {
    enum What {
        configure,
        activate,
        makeEngine,
        attachMixer,
        detachMixer,
        installTap,
        removeTap,
        start,
        pause,
        stop,
        release
    };
    What what = start;
    AudioSessionSettings settings = {};
    AudioFormat format = {};
    float volume = 0;
    std::uint32_t frames = 0;

    std::string text() const;
};

struct VirtualMicrophone::Room : std::enable_shared_from_this<Room> {
    Room(std::shared_ptr<Executor> on, std::shared_ptr<const Clock> by, std::shared_ptr<AudioSource> of)
        : executor(std::move(on)), clock(std::move(by)), source(std::move(of)) {
        setSizes({kBufferFrames});
        kept.resize(kCallsKept);
    }

    /// What stops the engines, or does not, and is told to the observer. Called without the mutex.
    void happen(const AudioNotification& notification);
    void notify(const AudioNotification& notification);

    // The following are called with the mutex held.
    void setSizes(std::vector<std::uint32_t> sizes) VELMOR_REQUIRES(mutex);
    /// Sets the time of the source's first frame, once, and the script's timers with it.
    void begin() VELMOR_REQUIRES(mutex);
    BootTime timeOf(std::uint64_t position) const VELMOR_REQUIRES(mutex);
    std::uint64_t positionNow() const VELMOR_REQUIRES(mutex);
    bool anyRunning() const VELMOR_REQUIRES(mutex);
    void asked(const Asked& call) VELMOR_REQUIRES(mutex) { kept[calls++ % kCallsKept] = call; }
    [[noreturn]] void refuse(const char* what) VELMOR_REQUIRES(mutex);

    /// Before the mutex is taken, which the tap's thread holds.
    void checkThread(const char* what) const;

    static constexpr std::uint32_t kBufferFrames = 19'200;
    static constexpr std::size_t kCallsKept = 1'000;
    std::atomic<std::thread::id> tapThread{};  // the one that is inside a tap

    const std::shared_ptr<Executor> executor;
    const std::shared_ptr<const Clock> clock;
    const std::shared_ptr<AudioSource> source;

    mutable Mutex mutex;  // guards all below, and the engines
    RecordPermission permission VELMOR_GUARDED_BY(mutex) = RecordPermission::granted;
    std::vector<bool> permissionAnswers VELMOR_GUARDED_BY(mutex){true};
    AudioSession::Observer observer VELMOR_GUARDED_BY(mutex);
    std::vector<std::pair<std::chrono::nanoseconds, AudioNotification>> script VELMOR_GUARDED_BY(mutex);
    std::optional<BootTime> origin VELMOR_GUARDED_BY(mutex);
    AudioFormat format VELMOR_GUARDED_BY(mutex){48'000.0, 1};
    std::vector<std::uint32_t> bufferSizes VELMOR_GUARDED_BY(mutex);
    std::vector<float> buffer VELMOR_GUARDED_BY(mutex);  // of the largest size
    std::size_t toLose VELMOR_GUARDED_BY(mutex) = 0;
    bool delivering VELMOR_GUARDED_BY(mutex) = true;
    std::optional<PlatformError> configureFailure VELMOR_GUARDED_BY(mutex);
    std::optional<PlatformError> activateFailure VELMOR_GUARDED_BY(mutex);
    std::optional<PlatformError> startFailure VELMOR_GUARDED_BY(mutex);
    std::function<void()> ended VELMOR_GUARDED_BY(mutex);
    bool hasEnded VELMOR_GUARDED_BY(mutex) = false;
    std::vector<Engine*> engines VELMOR_GUARDED_BY(mutex);
    std::size_t taps VELMOR_GUARDED_BY(mutex) = 0;
    std::size_t mostTaps VELMOR_GUARDED_BY(mutex) = 0;
    std::uint64_t framesDelivered VELMOR_GUARDED_BY(mutex) = 0;
    bool isConfigured VELMOR_GUARDED_BY(mutex) = false;
    bool isActive VELMOR_GUARDED_BY(mutex) = false;
    bool isInterrupted VELMOR_GUARDED_BY(mutex) = false;
    std::vector<Asked> kept VELMOR_GUARDED_BY(mutex);  // a ring
    std::size_t calls VELMOR_GUARDED_BY(mutex) = 0;
    std::size_t callsTaken VELMOR_GUARDED_BY(mutex) = 0;
    std::vector<std::string> refusals VELMOR_GUARDED_BY(mutex);
};

class VirtualMicrophone::Engine : public AudioEngine {
  public:
    explicit Engine(std::shared_ptr<Room> room);
    ~Engine() override;

    AudioFormat inputFormat() override;
    bool isRunning() override;
    void attachMixer(float volume) override;
    void detachMixer() override;
    void installTap(std::uint32_t bufferFrames, const AudioFormat& format, Tap tap) override;
    void removeTap() override;
    void start() override;
    void pause() override;
    void stop() override;

    // With the room's mutex held:
    bool runs() const { return running_; }
    /// Delivers the buffer that is full at this moment, if one is, and stops.
    void cutOff();

  private:
    void schedule();
    void tick(std::uint64_t run);
    void deliver(std::uint64_t frames);
    void dropTap();

    const std::shared_ptr<Room> room_;
    const std::shared_ptr<char> alive_ = std::make_shared<char>();  // for the timers
    Tap tap_;
    bool hasMixer_ = false;
    bool running_ = false;
    std::uint64_t run_ = 0;     // timers of earlier runs are void
    std::uint64_t next_ = 0;    // position of the next frame to deliver
    std::uint64_t frames_ = 0;  // of the buffer under way
    std::size_t size_ = 0;      // which of the buffer sizes is next
};

}  // namespace Velmor::Testing
