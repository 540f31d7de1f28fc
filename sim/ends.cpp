// velmor-ends: a host that ends in every way a process may, in the middle of an upload that nobody answers.
// Without arguments it starts itself once for each way and holds the time and the code against what is
// promised.
#include "MuteServer.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <Velmor/Testing.hpp>
#include <Velmor/Velmor.hpp>

namespace {

using namespace Velmor;
using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

constexpr int kCode = 7;

class Hum : public Testing::AudioSource {
  public:
    std::size_t read(std::uint64_t firstFrame, std::span<float> out) override {
        for (auto& sample : out) sample = 0.001F * static_cast<float>(firstFrame++ % 480);
        return out.size();
    }
};

struct Host : VelmorSleepTrackingManagerDelegate {
    void didInterrupt() override { inside ? inside() : void(); }

    std::function<void()> inside;
};

// The host's own loop and microphone; transport, tasks and threads are the system's.
struct Scene {
    explicit Scene(const Nights::MuteServer& server) {
        Platform platform;
        platform.clock = clock;
        platform.mainLoop = loop;
        platform.audio = microphone;
        platform.files = std::make_shared<Testing::MemoryFiles>();
        platform.console = [](std::string_view) {};
        setPlatform(platform);
        const Config config("key", "u1", Url::parse(server.url()));
        manager = createSleepTrackingManager(config, host);
        manager->startTracking();
        for (int i = 0; i < 2'000 && server.uploads() == 0; ++i) {
            loop->advance(100ms);
            std::this_thread::sleep_for(1ms);
        }
        if (server.uploads() == 0) std::fprintf(stderr, "no upload began\n"), std::_Exit(1);
    }

    std::shared_ptr<Testing::VirtualClock> clock = std::make_shared<Testing::VirtualClock>();
    std::shared_ptr<Testing::ManualExecutor> loop = std::make_shared<Testing::ManualExecutor>(clock);
    std::shared_ptr<Testing::VirtualMicrophone> microphone =
        std::make_shared<Testing::VirtualMicrophone>(loop, clock, std::make_shared<Hum>());
    std::shared_ptr<Host> host = std::make_shared<Host>();
    std::shared_ptr<SleepTrackingManager> manager;
};

void ready() {
    const char byte = '!';
    if (write(3, &byte, 1) != 1) std::_Exit(1);
}

int destroyed(Scene& scene) {
    scene.manager.reset();
    setPlatform({});
    return kCode;
}

// Destroyed behind main, when the library's own statics may have gone.
std::shared_ptr<Scene>& keptByAStatic() {
    static std::shared_ptr<Scene> kept;
    return kept;
}

int exitsInsideADelegate(Scene& scene) {
    scene.host->inside = [] { std::exit(kCode); };
    scene.microphone->beginInterruption();
    scene.loop->advance(1s);
    return 1;
}

// The child must not wait for threads that it does not have; the parent goes on.
int forks(Scene& scene) {
    const pid_t child = fork();
    if (child == 0) std::exit(kCode);
    int status = 0;
    if (waitpid(child, &status, 0) != child || !WIFEXITED(status)) return 1;
    scene.manager->getTrackingStatus();
    return WEXITSTATUS(status);
}

// A peer that hangs up in the middle, and a signal that nobody asked for.
int hangsUp(Scene& scene, Nights::MuteServer& server) {
    std::signal(SIGPIPE, SIG_DFL);
    server.hangUp();
    for (int i = 0; i < 20; ++i) {
        scene.loop->advance(1s);
        std::this_thread::sleep_for(1ms);
    }
    return kCode;
}

int end(const std::string& way) {
    // Not destroyed: it is no part of what is measured.
    auto& server = *new Nights::MuteServer(true);
    const auto scene = std::make_shared<Scene>(server);
    ready();
    if (way == "destroys") return destroyed(*scene);
    if (way == "forks") return forks(*scene);
    if (way == "exits inside a delegate") return exitsInsideADelegate(*scene);
    if (way == "is hung up on") return hangsUp(*scene, server);
    if (way == "exits") std::exit(kCode);
    if (way == "keeps a static") keptByAStatic() = scene;
    return kCode;  // "returns"
}

// Null, or what is wrong.
const char* play(const char* self, const char* way, SteadyClock::duration& took) {
    std::array<int, 2> pipe{};
    if (::pipe(pipe.data()) != 0) return "no pipe";
    const pid_t child = fork();
    if (child == 0) {
        dup2(pipe[1], 3);
        execl(self, self, way, nullptr);
        std::_Exit(127);
    }
    close(pipe[1]);
    char byte = 0;
    const bool begun = read(pipe[0], &byte, 1) == 1;
    const auto began = SteadyClock::now();
    close(pipe[0]);
    int status = 0;
    waitpid(child, &status, 0);
    took = SteadyClock::now() - began;
    if (!begun) return "it never got to an upload";
    if (WIFSIGNALED(status)) return "ended by a signal";
    if (WEXITSTATUS(status) != kCode) return "another exit code";
    return took <= Nights::kLongestEnd ? nullptr : "too late";
}

}  // namespace

int main(int argc, char** argv) {
    alarm(60);
    if (argc > 1) return end(argv[1]);
    int failed = 0;
    for (const char* way : {"returns", "exits", "destroys", "keeps a static", "exits inside a delegate",
                            "forks", "is hung up on"}) {
        SteadyClock::duration took{0};
        const auto* wrong = play(argv[0], way, took);
        std::printf("%-24s %4.0f ms%s%s\n", way, std::chrono::duration<double, std::milli>(took).count(),
                    wrong != nullptr ? ": " : "", wrong != nullptr ? wrong : "");
        failed += wrong != nullptr ? 1 : 0;
    }
    return failed > 0 ? 1 : 0;
}
