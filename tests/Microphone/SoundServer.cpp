#include "SoundServer.hpp"

#include <array>
#include <cmath>
#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <numbers>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace Velmor::Tests {
namespace {

using namespace std::chrono_literals;

constexpr int kNotInstalled = 77;

FILE* run(const std::string& command, const char* mode) {
    FILE* const started = popen(command.c_str(), mode);
    if (started == nullptr) throw std::runtime_error(command);
    return started;
}

int freePort() {
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

}  // namespace

SoundServer::SoundServer() : port_(freePort()) {}

SoundServer::~SoundServer() {
    end();  // and the players lose their server
    for (FILE* player : players_) pclose(player);
}

int SoundServer::end() {
    return script_ == nullptr ? 0 : pclose(std::exchange(script_, nullptr));
}

bool SoundServer::start() {
    const auto ended = directory() / "ended";
    std::filesystem::remove(ended);
    script_ = run("sh " VELMOR_SOUND_SERVER " pulse " + directory().string() + ' ' + std::to_string(port_) +
                      "; code=$?; echo >" + ended.string() + "; exit $code",
                  "we");
    for (int attempt = 0; attempt < 200 && !std::filesystem::exists(ended); ++attempt) {
        if (std::filesystem::exists(directory() / "socket")) return true;
        std::this_thread::sleep_for(50ms);
    }
    if (const int status = end(); WIFEXITED(status) && WEXITSTATUS(status) == kNotInstalled) return false;
    throw std::runtime_error("the sound server does not start");
}

void SoundServer::kill() {
    pid_t server = 0;
    std::ifstream(directory() / "pid") >> server;
    if (server > 1) ::kill(server, SIGKILL);
    end();
    std::filesystem::remove(directory() / "socket");
}

std::string SoundServer::control(const std::vector<std::string>& arguments) const {
    std::string command = "PULSE_SERVER='" + address() + "' HOME='" + directory().string() + "' pactl";
    for (const auto& argument : arguments) command += " '" + argument + "'";
    FILE* output = run(command, "re");
    std::string text;
    for (std::array<char, 512> line{}; fgets(line.data(), line.size(), output) != nullptr;)
        text += line.data();
    pclose(output);
    return text;
}

std::size_t SoundServer::recorders() const {
    const std::string list = control({"list", "short", "source-outputs"});
    std::size_t count = 0;
    for (std::size_t at = list.find("float32le"); at != std::string::npos;
         at = list.find("float32le", at + 1))
        ++count;
    return count;
}

void SoundServer::play(const std::string& sink, const std::vector<double>& tones, std::chrono::seconds time) {
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

}  // namespace Velmor::Tests
