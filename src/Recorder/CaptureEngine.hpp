// The audio session and engine as one recording needs them: one microphone, one tap, one silent mixer.
#pragma once

#include <memory>

#include <Velmor/Platform.hpp>

namespace Velmor {

/// Operations are called on the main loop, those that throw throw PlatformError. Destruction releases the
/// microphone.
class CaptureEngine {
  public:
    explicit CaptureEngine(const std::shared_ptr<const Platform>& platform);

    void configureSession();
    void activateSession();

    /// Stops what runs and puts a new mixer in; `fresh` replaces the engine too. The session is configured.
    void rebuild(bool fresh);
    /// Rate and channels of the input.
    AudioFormat inputFormat();
    /// In place of any former tap.
    void start(AudioEngine::Tap tap);
    void pause();
    /// Stops and lets the engine go.
    void release() noexcept;
    bool isRunning();

  private:
    void takeApart();

    const std::shared_ptr<const Platform> platform_;
    std::unique_ptr<AudioEngine> engine_;
    bool hasMixer_ = false;
};

}  // namespace Velmor
