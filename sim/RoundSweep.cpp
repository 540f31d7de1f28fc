// The library made and destroyed, again and again, in the middle of its requests.
#include "EmptyPlatform.hpp"
#include "Library.hpp"
#include "MuteServer.hpp"
#include "Sweeps.hpp"
#include "tests/Recorder/CountedSamples.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <malloc.h>
#include <unistd.h>

#include <Velmor/Testing.hpp>

namespace Velmor::Nights {
namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

constexpr std::size_t kRounds = 9'000;      // with a scripted transport, on a virtual clock
constexpr std::size_t kRealRounds = 1'000;  // with the real one, and threads

class Silence : public Testing::AudioSource {
  public:
    std::size_t read(std::uint64_t, std::span<float> out) override { return out.size(); }
};

struct Host : VelmorConfigDelegate, VelmorSleepTrackingManagerDelegate {};

struct Footprint {
    std::size_t files = 0, threads = 0, memory = 0;
};

std::size_t entriesOf(const char* directory) {
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// Threads end a moment after they were joined, and a closed connection is still counted by its server.
Footprint footprint(std::size_t threads) {
    usleep(50'000);
    for (int i = 0; i < 200 && entriesOf("/proc/self/task") > threads; ++i) usleep(50'000);
    return {entriesOf("/proc/self/fd"), entriesOf("/proc/self/task"), mallinfo2().uordblks};
}

bool isFlat(const char* what, const Footprint& early, const Footprint& late, std::size_t rounds) {
    const bool flat = late.files <= early.files && late.threads <= early.threads &&
                      late.memory <= early.memory + 32'768 + rounds;
    std::printf("%s: %zu and %zu descriptors, %zu and %zu threads, %zu and %zu bytes%s\n", what, early.files,
                late.files, early.threads, late.threads, early.memory, late.memory, flat ? "" : ": it GROWS");
    return flat;
}

/// A night begins, a query is under way, nothing is answered.
struct Begun {
    explicit Begun(const std::string& url) {
        const Config config("key", "u1", Url::parse(url));
        initVelmorConfig("key", "u1", config.baseUrl(), {}, {}, host);
        manager = createSleepTrackingManager(config, host);
        manager->startTracking();
        query.emplace(createReports(config)->report("s1"));
        createReports(config)->report("s2", [](const auto&, const auto&) {});
    }

    const std::shared_ptr<Host> host = std::make_shared<Host>();
    std::shared_ptr<SleepTrackingManager> manager;
    std::optional<Async<Model::Report>> query;
};

void destroy(Begun& begun) {
    begun.manager.reset();
    Library::replace(emptyPlatform());
}

void scriptedRound(std::size_t number, bool& answered) {
    const auto clock = std::make_shared<Testing::VirtualClock>();
    const auto loop = std::make_shared<Testing::ManualExecutor>(clock);
    Platform platform;
    platform.clock = clock;
    platform.mainLoop = platform.tasks = platform.background = loop;
    const auto http = std::make_shared<Testing::ScriptedTransport>(loop);
    http->setHandler([](const HttpRequest& request) -> std::optional<HttpResult> {
        if (!request.url.absoluteString().ends_with("/sessions")) return {};
        return HttpResponse{200, {}, R"({"result":{"session_id":"s1"}})"};
    });
    platform.http = http;
    platform.audio = std::make_shared<Testing::VirtualMicrophone>(loop, clock, std::make_shared<Silence>());
    platform.files = std::make_shared<Testing::MemoryFiles>();
    platform.device = std::make_shared<Testing::FixedDevice>();
    platform.console = [](std::string_view) {};
    Library::replace(platform,
                     countingParts([](const std::string&) -> std::string { throw std::bad_alloc(); }));
    Begun begun("http://localhost");
    loop->advance(std::chrono::milliseconds(number * 37 % 4'000));
    destroy(begun);
    loop->runUntilIdle();
    answered = answered && begun.query->isReady();
}

/// How long the end took, that of the query included.
SteadyClock::duration realRound(const std::string& url, std::size_t number) {
    Platform platform;
    const auto clock = makeClock();
    platform.clock = clock;
    const auto loop = std::make_shared<Testing::ManualExecutor>(std::make_shared<Testing::VirtualClock>());
    platform.audio = std::make_shared<Testing::VirtualMicrophone>(loop, clock, std::make_shared<Silence>());
    platform.files = std::make_shared<Testing::MemoryFiles>();
    platform.device = std::make_shared<Testing::FixedDevice>();
    platform.console = [](std::string_view) {};
    Library::replace(platform);
    Begun begun(url);
    usleep(static_cast<useconds_t>(number * 37 % 2'000));
    const auto began = SteadyClock::now();
    destroy(begun);
    while (!begun.query->isReady() && SteadyClock::now() - began < 2 * kLongestEnd) usleep(100);
    return SteadyClock::now() - began;
}

}  // namespace

bool sweepRounds(const SweepOptions& options) {
    alarm(300);
    bool answered = true;
    const auto rounds = kRounds / options.stride;
    auto threads = entriesOf("/proc/self/task");
    Footprint early;
    for (std::size_t i = 0; i < rounds; ++i) {
        if (i == rounds / 10) early = footprint(threads);
        scriptedRound(i, answered);
    }
    bool flat = isFlat("scripted transport", early, footprint(threads), rounds);

    const MuteServer server;
    threads = entriesOf("/proc/self/task");
    const auto realRounds = kRealRounds / options.stride;
    SteadyClock::duration longest{0};
    for (std::size_t i = 0; i < realRounds; ++i) {
        if (i == realRounds / 2)
            early = footprint(threads);  // by then the server keeps as many as it ever will
        longest = std::max(longest, realRound(server.url(), i));
    }
    flat = isFlat("real transport", early, footprint(threads), realRounds) && flat;
    alarm(0);
    std::printf("%zu rounds, %zu of them real with %zu connections: longest end %.1f ms%s\n",
                rounds + realRounds, realRounds, server.connections(),
                std::chrono::duration<double, std::milli>(longest).count(),
                answered ? "" : ", and a query NEVER ended");
    return flat && answered && longest < kLongestEnd && server.connections() > 0;
}

}  // namespace Velmor::Nights
