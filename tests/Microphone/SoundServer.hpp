// A real sound server without a sound card, and what is played into it.
#pragma once

#include "../TemporaryDirectory.hpp"

#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <numbers>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Velmor::Tests {

inline int freePort() {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(socket, reinterpret_cast<sockaddr*>(&address), length) != 0) ADD_FAILURE() << "no free port";
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    close(socket);
    return ntohs(address.sin_port);
}

/// Runs `sound_server.sh` in a directory of its own, which goes with it.
class SoundServer {
  public:
    SoundServer() = default;
    SoundServer(const SoundServer&) = delete;
    SoundServer& operator=(const SoundServer&) = delete;
    ~SoundServer() {
        end();  // and the players lose their server
        for (FILE* player : players_) pclose(player);
    }

    /// Starts it and waits until it listens. False where it is not installed; throws where it does not start.
    bool start() {
        constexpr int kNotInstalled = 77;
        const auto ended = directory() / "ended";
        std::filesystem::remove(ended);
        script_ = run("sh " VELMOR_SOUND_SERVER " pulse " + directory().string() + ' ' +
                          std::to_string(port_) + "; code=$?; echo >" + ended.string() + "; exit $code",
                      "we");
        for (int attempt = 0; attempt < 200 && !std::filesystem::exists(ended); ++attempt) {
            if (std::filesystem::exists(directory() / "socket")) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        if (const int status = end(); WIFEXITED(status) && WEXITSTATUS(status) == kNotInstalled) return false;
        throw std::runtime_error("the sound server does not start");
    }
    std::string address() const { return "unix:" + (directory() / "socket").string(); }
    /// Where it also listens, on the loopback address, for users with a cookie that nobody has.
    int port() const { return port_; }
    const std::filesystem::path& directory() const { return directory_.path; }

    /// As a crash does it.
    void kill() {
        pid_t server = 0;
        std::ifstream(directory() / "pid") >> server;
        if (server > 1) ::kill(server, SIGKILL);
        end();
        std::filesystem::remove(directory() / "socket");
    }
    /// Runs pactl with these arguments; what it printed.
    std::string control(const std::vector<std::string>& arguments) const {
        std::string command = "PULSE_SERVER='" + address() + "' HOME='" + directory().string() + "' pactl";
        for (const auto& argument : arguments) command += " '" + argument + "'";
        FILE* output = run(command, "re");
        std::string text;
        for (std::array<char, 512> line{}; fgets(line.data(), line.size(), output) != nullptr;)
            text += line.data();
        pclose(output);
        return text;
    }
    /// How many streams of ours record from it.
    std::size_t recorders() const { return count({"list", "short", "source-outputs"}, "float32le"); }
    /// How many connections of ours it has.
    std::size_t connections() const { return count({"list", "clients"}, "application.name = \"VelmorSDK\""); }
    /// Plays the sum of tones of amplitude 0.25 each into a sink, from now on.
    void play(const std::string& sink, const std::vector<double>& tones, std::chrono::seconds time) {
        constexpr int kRate = 48'000;
        const auto path = directory() / ("tones-" + std::to_string(players_.size()) + ".raw");
        std::vector<float> samples(static_cast<std::size_t>(time.count() * kRate));
        for (std::size_t i = 0; i < samples.size(); ++i)
            for (const double tone : tones)
                samples[i] += static_cast<float>(
                    0.25 * std::sin(2.0 * std::numbers::pi * tone * static_cast<double>(i) / kRate));
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(samples.data()),
                   static_cast<std::streamsize>(samples.size() * sizeof(float)));
        players_.push_back(run("pacat --server=" + address() + " --device=" + sink +
                                   " --raw --format=float32le --rate=48000 --channels=1 " + path.string() +
                                   " </dev/null 2>&1",
                               "re"));
    }

  private:
    static FILE* run(const std::string& command, const char* mode) {
        FILE* const started = popen(command.c_str(), mode);
        if (started == nullptr) throw std::runtime_error(command);
        return started;
    }
    std::size_t count(const std::vector<std::string>& arguments, const char* mark) const {
        std::istringstream list(control(arguments));
        std::size_t count = 0;
        for (std::string line; std::getline(list, line);)
            count += line.find(mark) != std::string::npos ? 1U : 0U;
        return count;
    }
    int end() { return script_ == nullptr ? 0 : pclose(std::exchange(script_, nullptr)); }

    const int port_ = freePort();
    const VelmorTests::TemporaryDirectory directory_;
    FILE* script_ = nullptr;  // runs until its standard input ends
    std::vector<FILE*> players_;
};

}  // namespace Velmor::Tests
