// The system's microphone, and what a person wants to know while it records: is anything heard, and if it
// does not work, why.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <Velmor/Platform/Audio.hpp>

namespace VelmorApp {

/// Passes everything on. What it tells may be asked for on any thread.
class LiveMicrophone : public Velmor::AudioSystem {
  public:
    explicit LiveMicrophone(std::shared_ptr<Velmor::AudioSystem> system);
    ~LiveMicrophone() override;

    Velmor::AudioSession& session() override;
    std::unique_ptr<Velmor::AudioEngine> makeEngine() override;

    /// Frames heard so far.
    std::uint64_t frames() const;
    /// Of what was heard last, in decibels below full scale; none while nothing but zeros was.
    std::optional<double> level() const;
    /// Why it could not be used the last time it was to be; empty when it could.
    std::string failure() const;

  private:
    struct Facts;
    class Session;
    class Engine;

    const std::shared_ptr<Velmor::AudioSystem> system_;
    const std::shared_ptr<Facts> facts_;  // engines may outlive the microphone
    const std::unique_ptr<Session> session_;
};

/// "-41 dB", "silence" or "nothing heard yet".
std::string levelText(const LiveMicrophone& microphone);

}  // namespace VelmorApp
