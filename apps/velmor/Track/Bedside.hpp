// Everything around a night: the library's platform for the wanted source and speed, and the loop that drives
// it.
#pragma once

#include "Meter.hpp"
#include "Options.hpp"
#include "Sound/LiveMicrophone.hpp"
#include "Track/Night.hpp"
#include "Track/Playback.hpp"
#include "Track/RealTime.hpp"

#include <functional>
#include <memory>

#include <Velmor/Platform.hpp>
#include <Velmor/Testing/ManualExecutor.hpp>

namespace VelmorApp {

class Bedside {
  public:
    /// `sound` is null for the system's microphone.
    Bedside(const SharedOptions& shared, const TrackOptions& options, std::unique_ptr<SoundSource> sound,
            const std::optional<Velmor::Url>& logUrl);
    ~Bedside();
    Bedside(const Bedside&) = delete;
    Bedside& operator=(const Bedside&) = delete;

    const std::shared_ptr<Velmor::Clock>& clock() const { return clock_; }
    /// What the library is to run on.
    Velmor::Platform platform() const;
    /// Arranges for the night to end when it is to end. To be called when recording was asked for.
    void arrangeEnd(const std::weak_ptr<Night>& night);
    /// Until the night is over and the service has answered everything. `tick` is called now and then.
    void run(Night& night, const std::function<void()>& tick);

    /// Time since the recording was asked for, on the library's clock.
    std::chrono::nanoseconds elapsed() const;
    /// How long it will be, as far as that is known.
    std::optional<std::chrono::nanoseconds> expected() const;
    /// Of sound that was heard.
    double audioSeconds() const;
    /// What is wrong with the source, empty when nothing is.
    std::string soundFailure() const { return live_ ? live_->failure() : playback_->failure(); }
    /// The system's microphone, null with another source.
    const LiveMicrophone* live() const { return live_.get(); }

  private:
    void runVirtually(Night& night, const std::function<void()>& tick);
    void runReally(Night& night, const std::function<void()>& tick);
    bool settle();

    const SharedOptions& shared_;
    const TrackOptions& options_;
    const std::optional<Velmor::Url> logUrl_;
    std::shared_ptr<Velmor::Clock> clock_;
    std::shared_ptr<Velmor::Testing::ManualExecutor> manual_;  // with a virtual clock
    std::shared_ptr<Velmor::Executor> timers_;
    std::shared_ptr<Meter> meter_;
    std::shared_ptr<Playback> playback_;
    std::shared_ptr<Velmor::Testing::VirtualMicrophone> microphone_;
    std::shared_ptr<LiveMicrophone> live_;
    std::atomic<std::int64_t> startedAt_{-1};  // ns on the clock
};

}  // namespace VelmorApp
