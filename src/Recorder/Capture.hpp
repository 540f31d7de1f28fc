// The state machine of a recording service: every value sent on its state channel is acted upon here.
#pragma once

#include "Recorder/CaptureEngine.hpp"
#include "Recorder/CaptureQueue.hpp"
#include "Recorder/ChunkCutter.hpp"
#include "Recorder/ChunkPublisher.hpp"
#include "Recorder/RecordingService.hpp"
#include "Recorder/Resampler.hpp"
#include "Runtime/Text.hpp"

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Velmor {

/// A part of its owner, which the tasks, observers and taps made here hold weakly.
class RecordingService::Capture {
  public:
    Capture(RecordingService& owner, const std::shared_ptr<const Platform>& platform,
            const std::shared_ptr<LogAPI>& log, CaptureParts parts);
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    void start();
    void stop();
    void resume();
    void reset();

    struct Start {
        WallTime date;
        BootTime time;  ///< the same moment on the clock that counts sleep
    };
    const std::optional<Start>& firstFrame() const { return firstFrameTime_; }
    BootTime now() const { return platform_->clock->bootNow(); }

    void handle(const State& state);

  private:
    // what each state does on entry
    void entered(const State::started& state);
    void entered(const State::stopped& state);
    void entered(const State::error& state);
    void entered(const State::notDetermined& state);
    void entered(const State::ready& state);
    void entered(const State::interrupted& state);
    void entered(const State::resumed& state);

    // engine
    bool rebuildEngine();
    void startEngine();
    void runEngine();
    bool formatFits();
    std::exception_ptr tryActivating();
    bool finish();
    void letGo(bool telling = true);
    void failed(const std::exception_ptr& error);
    void failed(const VelmorError& error, Pieces line);
    VelmorError errorFor(const std::exception_ptr& failure) const;

    // frames
    AudioEngine::Tap makeTap();
    void drain();
    void flush();
    void takeBlocks(std::size_t atLeast);
    bool isOver() const;
    static constexpr std::chrono::seconds kLongestSilence{2};  // without frames, before it is an interruption
    static constexpr std::chrono::seconds kShortestPause{1};   // between attempts to start the engine again
    static constexpr std::chrono::seconds kLongestPause{60};
    void take(const CaptureQueue::Block& block);
    void process(const PcmBuffer& buffer);
    void reportLost();
    bool isTaking() const;

    // interruptions, notifications and the watch for frames that stay away
    void interrupt(bool stalled);
    void resumeByFrames(BootTime at);
    void observe();
    void endObserving();
    void notified(const AudioNotification& notification);
    void notified(const AudioNotification::InterruptionBegan& event);
    void notified(const AudioNotification::InterruptionEnded& event);
    void notified(const AudioNotification::EngineConfigurationChanged& event);
    void notified(const AudioNotification::RouteChanged& event);
    void notified(const AudioNotification::MediaServicesReset& event);
    void watchAfter(std::chrono::nanoseconds delay);
    void watch();
    void awaitFrames();
    void restart();

    /// To be called when one of the conditions has changed.
    void updateRecording() noexcept;

    void logState(std::string_view text) noexcept;
    void logError(Pieces text) noexcept;
    void removeChunkFiles(bool telling);

    RecordingService& owner_;
    const std::shared_ptr<const Platform> platform_;
    const std::shared_ptr<LogAPI> log_;
    const std::shared_ptr<ChunkPublisher> publisher_;

    Bag bag_;
    std::optional<Start> firstFrameTime_;
    std::optional<BootTime> interruptStartTime_;
    std::unique_ptr<ChunkCutter> cutter_;  // the chunk files; there while there is a recording
    CaptureEngine engine_;
    bool isResuming_ = false;  // from the end of an interruption to the first frames after it

    const Samples samples_;
    Resampler resampler_;
    std::shared_ptr<CaptureQueue> queue_;
    std::vector<float> block_;
    BootTime lastEnd_{};            // up to here frames were taken or silence put
    BootTime engineStart_{};        // when frames were last expected to begin
    bool begun_ = false;            // the engine has run, or was asked to by a resume
    bool torn_ = false;             // the engine was started anew: time is missing before the next frame
    bool stalled_ = false;          // frames stay away without a word from the system; their return ends it
    bool resumedByFrames_ = false;  // for the state being entered
    bool freshEngine_ = false;      // likewise
    std::optional<BootTime> at_;    // likewise: when the first frame began that led to it
    std::uint64_t timer_ = 0;       // of the watch; earlier ones are void
    std::chrono::nanoseconds pause_{kShortestPause};  // until the next attempt, while stalled
    std::set<std::string> told_;        // failures of attempts since frames or a resume came, each told once
    std::uint64_t recordings_ = 0;      // changes with every start, stop and reset
    std::uint64_t observation_ = 0;     // 0: none
    std::uint64_t droppedBuffers_ = 0;  // of the current recording
};

}  // namespace Velmor
