// 32 threads over the whole public interface at once: for the thread sanitizer, and against calls that wait
// for each other.
#include "EmptyPlatform.hpp"
#include "Library.hpp"
#include "Random.hpp"
#include "Runtime/ThreadExecutor.hpp"
#include "Sweeps.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <vector>

#include <Velmor/Testing.hpp>

namespace Velmor::Nights {
namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

constexpr std::size_t kThreads = 32;
constexpr std::size_t kCalls = 400;  // of each thread, divided by the stride
constexpr auto kLongestCall = 5s;

class Hum : public Testing::AudioSource {
  public:
    std::size_t read(std::uint64_t, std::span<float> out) override { return out.size(); }
};

/// Asks for more inside each call, as hosts do; of no thread in particular.
class Host : public VelmorConfigDelegate,
             public VelmorSleepTrackingManagerDelegate,
             public VelmorRecordingDelegate,
             public VelmorDebugLoggerDelegate {
  public:
    void userDidJoin(const std::string&, const Config& config) override { createReports(config); }
    void didFailUserJoin(const VelmorError&) override { ++calls; }
    void userDidDelete(const std::string&) override { ++calls; }
    void didCreate() override { ++calls; }
    void didUpload(std::int64_t) override { ++calls; }
    void didClose(const std::string&) override { ++calls; }
    void didFail(const VelmorError&) override { ++calls; }
    void didInterrupt() override { ++calls; }
    void didResume() override { ++calls; }
    void micPermissionWasDenied() override { ++calls; }
    void analysing(const Model::Session&) override { ++calls; }
    void recordedData(std::string, std::int64_t) override { ++calls; }
    void didPrint(const std::string&) override { ++calls; }

    std::atomic<std::uint64_t> calls{0};
};

/// What the threads share; each takes it, uses it and lets it go whenever it likes.
class Scene {
  public:
    Scene() {
        const auto clock = makeClock();
        const auto wire = makeThreadExecutor(clock, 2, "sim-wire");
        const auto http = std::make_shared<Testing::ScriptedTransport>(wire);
        http->setHandler([](const HttpRequest& request) -> std::optional<HttpResult> {
            const auto& url = request.url.absoluteString();
            if (url.ends_with("/sessions")) return HttpResponse{200, {}, R"({"result":{"session_id":"s1"}})"};
            return HttpResponse{200, {}, R"({"result":{"user_id":"u1"}})"};
        });
        http->setDelay(1ms);
        platform_.clock = clock;
        platform_.http = http;
        platform_.audio = std::make_shared<Testing::VirtualMicrophone>(
            makeThreadExecutor(clock, 1, "sim-audio"), clock, std::make_shared<Hum>());
        platform_.files = std::make_shared<Testing::MemoryFiles>();
        platform_.device = std::make_shared<Testing::FixedDevice>();
        platform_.console = [](std::string_view) {};
        install();
        replaceManager();
        replaceRecorder();
    }
    ~Scene() {
        manager_.reset();
        recorder_.reset();
        setDebugLoggerDelegate(nullptr);
        Library::replace(emptyPlatform());
    }
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    void install() { setPlatform(platform_); }
    void configure() { initVelmorConfig("key", {}, Url::parse("http://localhost"), {}, {}, host); }
    static Config config() { return Config("key", "u1", Url::parse("http://localhost")); }
    std::shared_ptr<SleepTrackingManager> manager() {
        const std::lock_guard lock(mutex_);
        return manager_;
    }
    std::shared_ptr<Recorder> recorder() {
        const std::lock_guard lock(mutex_);
        return recorder_;
    }
    void replaceManager() {
        auto made = createSleepTrackingManager(config(), host);
        const std::lock_guard lock(mutex_);
        manager_.swap(made);
    }
    void replaceRecorder() {
        auto made = createRecorder(host);
        const std::lock_guard lock(mutex_);
        recorder_.swap(made);
    }

    const std::shared_ptr<Host> host = std::make_shared<Host>();

  private:
    Platform platform_;
    std::mutex mutex_;  // guards the two
    std::shared_ptr<SleepTrackingManager> manager_;
    std::shared_ptr<Recorder> recorder_;
};

thread_local SteadyClock::duration waited{0};  // for answers, which is no call that blocks

template <class T>
void waitFor(const Async<T>& query) {
    query.then([](const auto&) {});
    const auto began = SteadyClock::now();
    try {
        query.get();
    } catch (const VelmorError&) {  // refused, or given up with the library that it was asked of
    }
    waited += SteadyClock::now() - began;
}

struct Entry {
    const char* name;
    std::int64_t weight;
    void (*call)(Scene& scene);
};

const auto kEntries = std::to_array<Entry>({
    {"initVelmorConfig", 4, [](Scene& s) { s.configure(); }},
    {"deleteUser", 2, [](Scene& s) { deleteUser(s.config()); }},
    {"createSleepTrackingManager", 4, [](Scene& s) { s.replaceManager(); }},
    {"startTracking", 8, [](Scene& s) { s.manager()->startTracking(); }},
    {"resumeTracking", 4, [](Scene& s) { s.manager()->resumeTracking(); }},
    {"stopTracking", 6, [](Scene& s) { s.manager()->stopTracking(); }},
    {"requestAnalysis", 4, [](Scene& s) { s.manager()->requestAnalysis(); }},
    {"getTrackingStatus", 8, [](Scene& s) { s.manager()->getTrackingStatus(); }},
    {"report", 4, [](Scene& s) { waitFor(createReports(s.config())->report("s1")); }},
    {"report with a block", 4, [](Scene& s) { createReports(s.config())->report("s1", [](auto, auto) {}); }},
    {"reports", 2,
     [](Scene& s) {
         waitFor(createReports(s.config())
                     ->reports("2024-01-01", "2024-01-31", Model::OrderBy::descending, 0, 9));
     }},
    {"deleteReport", 2, [](Scene& s) { waitFor(createReports(s.config())->deleteReport("s1")); }},
    {"getAverageReport", 2,
     [](Scene& s) { waitFor(createReports(s.config())->getAverageReport("2024-01-01", "2024-01-31")); }},
    {"createRecorder", 3, [](Scene& s) { s.replaceRecorder(); }},
    {"hasPermission", 3, [](Scene& s) { waitFor(s.recorder()->hasPermission()); }},
    {"startRecording", 3, [](Scene& s) { s.recorder()->startRecording(); }},
    {"stopRecording", 3, [](Scene& s) { s.recorder()->stopRecording(); }},
    {"setDebugLoggerDelegate", 2, [](Scene& s) { setDebugLoggerDelegate(s.host); }},
    {"DeveloperMode", 2, [](Scene&) { DeveloperMode::setOn(false), DeveloperMode::isOn(); }},
    {"setPlatform", 1, [](Scene& s) { s.install(); }},
});

struct Longest {
    SteadyClock::duration time{0};
    const char* name = "";
};

void callAtRandom(Scene& scene, std::uint64_t seed, std::size_t calls, Longest& longest) {
    Random random(seed);
    std::int64_t sum = 0;
    for (const auto& entry : kEntries) sum += entry.weight;
    for (std::size_t i = 0; i < calls; ++i) {
        auto left = random.below(sum);
        const auto entry = std::find_if(kEntries.begin(), kEntries.end(),
                                        [&](const Entry& e) { return (left -= e.weight) < 0; });
        const auto began = SteadyClock::now();
        waited = {};
        entry->call(scene);
        const auto took = SteadyClock::now() - began - waited;
        if (took > longest.time) longest = {took, entry->name};
    }
}

}  // namespace

bool sweepThreads(const SweepOptions& options) {
    alarm(240);  // a deadlock ends here
    const auto calls = kCalls / options.stride;
    std::array<Longest, kThreads> longest;
    std::uint64_t heard = 0;
    {
        Scene scene;
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < kThreads; ++i)
            threads.emplace_back([&, i] { callAtRandom(scene, i, calls, longest[i]); });
        for (auto& thread : threads) thread.join();
        heard = scene.host->calls;
    }
    alarm(0);
    const auto worst = *std::max_element(longest.begin(), longest.end(),
                                         [](const auto& a, const auto& b) { return a.time < b.time; });
    std::printf("%zu threads, %zu calls each, %llu calls of delegates: longest %.0f ms (%s)\n", kThreads,
                calls, static_cast<unsigned long long>(heard),
                std::chrono::duration<double, std::milli>(worst.time).count(), worst.name);
    return worst.time < kLongestCall && heard > calls;
}

}  // namespace Velmor::Nights
