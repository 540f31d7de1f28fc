// The inside of the virtual microphone: the room that is heard, and the engines that listen.
#pragma once

#include "Runtime/ThreadSafety.hpp"

#include <algorithm>
#include <utility>

#include <Velmor/Testing/VirtualMicrophone.hpp>

namespace Velmor::Testing {

struct VirtualMicrophone::Room : std::enable_shared_from_this<Room> {
    Room(std::shared_ptr<Executor> on, std::shared_ptr<const Clock> by, std::shared_ptr<AudioSource> of)
        : executor(std::move(on)), clock(std::move(by)), source(std::move(of)) {
        setSizes({kBufferFrames});
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

    static constexpr std::uint32_t kBufferFrames = 19'200;

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
};

class VirtualMicrophone::Engine : public AudioEngine {
  public:
    explicit Engine(std::shared_ptr<Room> room);
    ~Engine() override;

    AudioFormat inputFormat() override;
    bool isRunning() override;
    void attachMixer(float) override {}
    void detachMixer() override {}
    void installTap(std::uint32_t bufferFrames, const AudioFormat& format, Tap tap) override;
    void removeTap() override;
    void start() override;
    void pause() override;
    void stop() override;

    // With the room's mutex held:
    bool runs() const { return running_; }
    /// Delivers what was heard of the current buffer and stops.
    void cutOff();

  private:
    void schedule();
    void tick(std::uint64_t run);
    void deliver(std::uint64_t frames);
    void dropTap();

    const std::shared_ptr<Room> room_;
    const std::shared_ptr<char> alive_ = std::make_shared<char>();  // for the timers
    Tap tap_;
    bool running_ = false;
    std::uint64_t run_ = 0;     // timers of earlier runs are void
    std::uint64_t next_ = 0;    // position of the next frame to deliver
    std::uint64_t frames_ = 0;  // of the buffer under way
    std::size_t size_ = 0;      // which of the buffer sizes is next
};

}  // namespace Velmor::Testing
