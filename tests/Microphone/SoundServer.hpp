// A real sound server without a sound card, and what is played into it.
#pragma once

#include "../TemporaryDirectory.hpp"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace Velmor::Tests {

/// Runs `sound_server.sh` in a directory of its own, which goes with it.
class SoundServer {
  public:
    SoundServer();
    SoundServer(const SoundServer&) = delete;
    SoundServer& operator=(const SoundServer&) = delete;
    ~SoundServer();

    /// Starts it and waits until it listens. False where it is not installed; throws where it does not start.
    bool start();
    std::string address() const { return "unix:" + (directory() / "socket").string(); }
    /// Where it also listens, on the loopback address, for users with a cookie that nobody has.
    int port() const { return port_; }
    const std::filesystem::path& directory() const { return directory_.path; }

    /// As a crash does it.
    void kill();
    /// Runs pactl with these arguments; what it printed.
    std::string control(const std::vector<std::string>& arguments) const;
    /// How many streams of ours record from it.
    std::size_t recorders() const;
    /// Plays the sum of tones of amplitude 0.25 each into a sink, from now on.
    void play(const std::string& sink, const std::vector<double>& tones, std::chrono::seconds time);

  private:
    int end();

    const int port_;
    const VelmorTests::TemporaryDirectory directory_;
    FILE* script_ = nullptr;  // runs until its standard input ends
    std::vector<FILE*> players_;
};

}  // namespace Velmor::Tests
