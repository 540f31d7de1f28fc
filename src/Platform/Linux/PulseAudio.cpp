#include "Platform/Linux/PulseAudio.hpp"

#include "Platform/Linux/PulseEngine.hpp"

#include <utility>

namespace Velmor {
namespace {

class PulseSession : public AudioSession {
  public:
    explicit PulseSession(const std::shared_ptr<PulseConnection>& connection) : connection_(connection) {}

    // Which input is the default and how it is mixed and routed is the sound server's business.
    void configure(const AudioSessionSettings&) override {}
    void activate() override { connection_->require(); }
    RecordPermission recordPermission() override { return connection_->permission(); }
    void requestRecordPermission(std::function<void(bool)> answer) override {
        connection_->ask(std::move(answer));
    }
    void observe(Observer observer) override { connection_->observe(std::move(observer)); }

  private:
    const std::shared_ptr<PulseConnection> connection_;
};

class PulseAudio : public AudioSystem {
  public:
    PulseAudio(const std::shared_ptr<const Clock>& clock, AudioOptions options, const std::string& library)
        : clock_(clock),
          options_(std::move(options)),
          connection_(std::make_shared<PulseConnection>(clock_, library)),
          session_(connection_) {}

    AudioSession& session() override { return session_; }
    std::unique_ptr<AudioEngine> makeEngine() override {
        return std::make_unique<PulseEngine>(connection_, clock_, options_.source);
    }

  private:
    const std::shared_ptr<const Clock> clock_;
    const AudioOptions options_;
    const std::shared_ptr<PulseConnection> connection_;
    PulseSession session_;
};

}  // namespace

std::shared_ptr<AudioSystem> makePulseAudioSystem(const std::shared_ptr<const Clock>& clock,
                                                  AudioOptions options, const std::string& library) {
    return std::make_shared<PulseAudio>(clock, std::move(options), library);
}

std::shared_ptr<AudioSystem> makeAudioSystem(const std::shared_ptr<Clock>& clock, AudioOptions options) {
    return makePulseAudioSystem(clock, std::move(options), PulseApi::kLibrary);
}

}  // namespace Velmor
