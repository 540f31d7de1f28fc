// One recording stream of the sound server as the input of an audio engine.
#pragma once

#include "Platform/Linux/PulseConnection.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <Velmor/Platform/Audio.hpp>

namespace Velmor {

/// A stream that fails while it is wanted (the server is gone, its source was unloaded) is tried again until
/// it stands; then the client is told and starts the engine anew. A paused engine keeps its stream and drops
/// what it brings, since a stream that is held back would not hear that its source came back.
class PulseEngine : public AudioEngine, private PulseConnection::Client {
  public:
    /// `source` is the server's name of the input; its default when empty.
    PulseEngine(const std::shared_ptr<PulseConnection>& connection, const std::shared_ptr<const Clock>& clock,
                std::string source);
    PulseEngine(const PulseEngine&) = delete;
    PulseEngine& operator=(const PulseEngine&) = delete;
    ~PulseEngine() override;

    AudioFormat inputFormat() override;
    bool isRunning() override;
    void attachMixer(float volume) override;
    void detachMixer() override;
    void installTap(std::uint32_t bufferFrames, const AudioFormat& format, Tap tap) override;
    void removeTap() override;
    void start() override;
    void pause() override;
    void stop() override;

  private:
    enum class Mode {
        stopped,
        starting,
        running,
        paused,
        lost  // without a stream, and waiting for one
    };

    // all with the loop's mutex held
    bool isLost() const override { return mode_ == Mode::lost && stream_ == nullptr; }
    void reopen() override;
    void open();
    void close();
    void listen();
    void stateChanged();
    void becameReady();
    void failed(const PlatformError& error);
    bool isAnother(const std::string& device) const;
    void moved();
    void lookAtSuspension();
    void beginInterruption(const std::string& details);
    void endInterruption();
    void read();
    void deliver(const void* data, std::size_t bytes);
    BootTime capturedUpTo(std::size_t frames);
    std::string deviceName() const;
    std::string inputName() const;
    const PulseApi& pulse() const { return connection_->pulse(); }

    const std::shared_ptr<PulseConnection> connection_;
    const std::shared_ptr<const Clock> clock_;
    const std::string source_;

    // guarded by the loop's mutex:
    Mode mode_ = Mode::stopped;
    pa_stream* stream_ = nullptr;
    bool standing_ = false;     // the server has made the stream
    bool interrupted_ = false;  // the client was told that nothing comes, and not yet that it does again
    bool serverLost_ = false;   // for that reason
    std::optional<PlatformError> failure_;
    std::string device_;  // which the stream records from
    std::uint32_t bufferFrames_ = 0;
    Tap tap_;
    BootTime lastCaptured_ = BootTime::min();
};

}  // namespace Velmor
