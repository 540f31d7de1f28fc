#include "Sound/LiveMicrophone.hpp"

#include "Runtime/ThreadSafety.hpp"

#include <atomic>
#include <cmath>
#include <numeric>
#include <utility>

namespace VelmorApp {

struct LiveMicrophone::Facts {
    std::atomic<std::uint64_t> frames{0};
    std::atomic<double> power{0.0};
    Velmor::Mutex mutex;  // guards failure
    std::string failure VELMOR_GUARDED_BY(mutex);

    void hear(std::span<const float> heard) {
        if (heard.empty()) return;
        const auto square = [](double sum, float sample) { return sum + double{sample} * double{sample}; };
        power = std::accumulate(heard.begin(), heard.end(), 0.0, square) / static_cast<double>(heard.size());
        frames += heard.size();
    }

    /// Runs an operation of the microphone's, and keeps why it failed.
    template <class Operation>
    void watch(Operation operation) {
        try {
            operation();
        } catch (const Velmor::PlatformError& error) {
            note(error.what());
            throw;
        }
        note("");
    }
    void note(std::string text) {
        const Velmor::Lock lock(mutex);
        failure = std::move(text);
    }
};

class LiveMicrophone::Session : public Velmor::AudioSession {
  public:
    Session(Velmor::AudioSession& session, std::shared_ptr<Facts> facts)
        : session_(session), facts_(std::move(facts)) {}

    void configure(const Velmor::AudioSessionSettings& settings) override {
        facts_->watch([&] { session_.configure(settings); });
    }
    void activate() override {
        facts_->watch([&] { session_.activate(); });
    }
    Velmor::RecordPermission recordPermission() override { return session_.recordPermission(); }
    void requestRecordPermission(std::function<void(bool)> answer) override {
        session_.requestRecordPermission(std::move(answer));
    }
    void observe(Observer observer) override { session_.observe(std::move(observer)); }

  private:
    Velmor::AudioSession& session_;
    const std::shared_ptr<Facts> facts_;
};

class LiveMicrophone::Engine : public Velmor::AudioEngine {
  public:
    Engine(std::unique_ptr<Velmor::AudioEngine> engine, std::shared_ptr<Facts> facts)
        : engine_(std::move(engine)), facts_(std::move(facts)) {}

    Velmor::AudioFormat inputFormat() override { return engine_->inputFormat(); }
    bool isRunning() override { return engine_->isRunning(); }
    void attachMixer(float volume) override { engine_->attachMixer(volume); }
    void detachMixer() override { engine_->detachMixer(); }
    void installTap(std::uint32_t bufferFrames, const Velmor::AudioFormat& format, Tap tap) override {
        engine_->installTap(
            bufferFrames, format,
            [facts = facts_, tap = std::move(tap)](std::span<const float> frames, Velmor::BootTime captured) {
                facts->hear(frames);
                tap(frames, captured);
            });
    }
    void removeTap() override { engine_->removeTap(); }
    void start() override {
        facts_->watch([&] { engine_->start(); });
    }
    void pause() override { engine_->pause(); }
    void stop() override { engine_->stop(); }

  private:
    const std::unique_ptr<Velmor::AudioEngine> engine_;
    const std::shared_ptr<Facts> facts_;
};

LiveMicrophone::LiveMicrophone(std::shared_ptr<Velmor::AudioSystem> system)
    : system_(std::move(system)),
      facts_(std::make_shared<Facts>()),
      session_(std::make_unique<Session>(system_->session(), facts_)) {}

LiveMicrophone::~LiveMicrophone() = default;

Velmor::AudioSession& LiveMicrophone::session() {
    return *session_;
}

std::unique_ptr<Velmor::AudioEngine> LiveMicrophone::makeEngine() {
    return std::make_unique<Engine>(system_->makeEngine(), facts_);
}

std::uint64_t LiveMicrophone::frames() const {
    return facts_->frames;
}

std::optional<double> LiveMicrophone::level() const {
    const double power = facts_->power;
    return power > 0.0 ? std::optional(10.0 * std::log10(power)) : std::nullopt;
}

std::string LiveMicrophone::failure() const {
    const Velmor::Lock lock(facts_->mutex);
    return facts_->failure;
}

std::string levelText(const LiveMicrophone& microphone) {
    if (microphone.frames() == 0) return "nothing heard yet";
    const auto level = microphone.level();
    return level ? std::to_string(std::lround(*level)) + " dB" : "silence";
}

}  // namespace VelmorApp
