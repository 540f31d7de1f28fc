#include "SoundServer.hpp"

#include <array>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <numbers>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace Velmor::Tests {
namespace {

using namespace std::chrono_literals;

constexpr int kNotInstalled = 77;

pid_t spawn(const std::vector<std::string>& command, int input) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const auto& part : command) arguments.push_back(const_cast<char*>(part.c_str()));
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child != 0) return child;
    dup2(input, STDIN_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
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

SoundServer::SoundServer() : port_(freePort()) {
    std::string name = (std::filesystem::temp_directory_path() / "velmor-sound-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no directory for the sound server");
    directory_ = name;
}

SoundServer::~SoundServer() {
    for (const pid_t player : players_) {
        ::kill(player, SIGTERM);
        waitpid(player, nullptr, 0);
    }
    end();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

void SoundServer::end() {
    if (script_ <= 0) return;
    close(leash_);
    waitpid(script_, nullptr, 0);
    script_ = -1;
}

bool SoundServer::start() {
    std::array<int, 2> pipe{};
    if (pipe2(pipe.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe for the sound server");
    leash_ = pipe[1];
    script_ = spawn({"sh", VELMOR_SOUND_SERVER, "pulse", directory_, std::to_string(port_)}, pipe[0]);
    close(pipe[0]);
    for (int attempt = 0; attempt < 200; ++attempt) {
        if (std::filesystem::exists(directory_ / "socket")) return true;
        int status = 0;
        if (waitpid(script_, &status, WNOHANG) == script_) {
            script_ = -1;
            close(leash_);
            if (WIFEXITED(status) && WEXITSTATUS(status) == kNotInstalled) return false;
            break;
        }
        std::this_thread::sleep_for(50ms);
    }
    throw std::runtime_error("the sound server does not start");
}

void SoundServer::kill() {
    pid_t server = 0;
    std::ifstream(directory_ / "pid") >> server;
    if (server > 1) ::kill(server, SIGKILL);
    end();
    std::filesystem::remove(directory_ / "socket");
}

std::string SoundServer::control(const std::vector<std::string>& arguments) const {
    std::string command = "PULSE_SERVER='" + address() + "' HOME='" + directory_.string() + "' pactl";
    for (const auto& argument : arguments) command += " '" + argument + "'";
    FILE* output = popen(command.c_str(), "r");
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
    const auto path = directory_ / ("tones-" + std::to_string(players_.size()) + ".raw");
    std::vector<float> samples(static_cast<std::size_t>(time.count() * kRate));
    for (std::size_t i = 0; i < samples.size(); ++i)
        for (const double tone : tones)
            samples[i] += static_cast<float>(
                0.25 * std::sin(2.0 * std::numbers::pi * tone * static_cast<double>(i) / kRate));
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(samples.data()),
               static_cast<std::streamsize>(samples.size() * sizeof(float)));
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    players_.push_back(spawn({"pacat", "--server=" + address(), "--device=" + sink, "--raw",
                              "--format=float32le", "--rate=48000", "--channels=1", path},
                             nothing));
    close(nothing);
}

}  // namespace Velmor::Tests
