// A short night, again and again, each time with another allocation that fails: nothing may be left, held or
// broken, and the library works as soon as there is memory again.
#include "APIService/APIService.hpp"
#include "Allocations.hpp"
#include "EmptyPlatform.hpp"
#include "Library.hpp"
#include "Recorder/FileChunkStore.hpp"
#include "ScarceSeams.hpp"
#include "Sweeps.hpp"
#include "tests/Recorder/CountedSamples.hpp"

#include <array>
#include <cstdio>
#include <ctime>
#include <exception>
#include <functional>
#include <new>
#include <unistd.h>

#include <Velmor/Testing.hpp>

namespace Velmor::Nights {
namespace {

using namespace std::chrono_literals;
using Allocations::Spared;

struct Heard {
    int created = 0, uploaded = 0, closed = 0, ended = 0, reports = 0;
};

class Host : public VelmorConfigDelegate, public VelmorSleepTrackingManagerDelegate {
  public:
    explicit Host(Heard& heard) : heard_(heard) {}
    void didCreate() override { ++heard_.created; }
    void didUpload(std::int64_t) override { ++heard_.uploaded; }
    void didClose(const std::string&) override { ++heard_.closed; }
    void trackingEnded(const TrackingOutcome&) override { ++heard_.ended; }

  private:
    Heard& heard_;
};

class DebugLines : public VelmorDebugLoggerDelegate {
  public:
    void didPrint(const std::string&) override {}
};

class Silence : public Testing::AudioSource {
  public:
    std::size_t read(std::uint64_t, std::span<float> out) override { return out.size(); }
};

std::array<char, 100> underWay{};

// Times, lengths and numbers without sound.
CaptureParts counting(const Platform& platform) {
    const auto shared = std::make_shared<const Platform>(platform);
    return countingParts([shared](const std::string&) {
        FileChunkStore store(shared);
        auto mel = store.temporaryDirectory() + "result-" + store.mediumTime() + ".mel";
        store.write(mel, std::as_bytes(std::span("mel")));
        return mel;
    });
}

class Scene {
  public:
    explicit Scene(bool carrying) {
        setDebugLoggerDelegate(std::make_shared<DebugLines>());
        http->setHandler([](const HttpRequest& request) { return answer(request); });
        http->setDelay(100ms);
        microphone->setBufferSizes({76'800});
        Platform platform;
        platform.clock = clock;
        platform.mainLoop = platform.tasks = platform.background = std::make_shared<ScarceExecutor>(loop);
        platform.http = std::make_shared<ScarceTransport>(http);
        platform.audio = microphone;
        platform.files = std::make_shared<ScarceFiles>(files);
        platform.device = std::make_shared<Testing::FixedDevice>();
        platform.console = [](std::string_view) {};
        Library::replace(platform, carrying ? CaptureParts{} : counting(platform));
    }
    ~Scene() {
        Allocations::disarm();
        manager_.reset();
        Library::replace(emptyPlatform());
    }
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    /// Everything that a host does with the library in one night, each step whatever became of the others.
    void night() {
        host([&] { initVelmorConfig("key", "u1", base(), {}, {}, host_); });
        pass(1s);
        host([&] { manager_ = createSleepTrackingManager(config(), host_); });
        host([&] { manager_ ? manager_->startTracking() : void(); });
        pass(33s);
        host([&] {
            createReports(config())->report("s1", [this](const auto&, const auto&) { ++heard.reports; });
        });
        host([&] { reports_ = createReports(config())->report("s2"); });
        interrupt(true);
        pass(5s);
        interrupt(false);
        pass(30s);
        host([&] { manager_ ? manager_->requestAnalysis() : void(); });
        pass(5s);
        host([&] { manager_ ? manager_->stopTracking() : void(); });
        pass(20s);
    }

    /// The same objects, with memory: null or what does not work.
    const char* works() {
        if (!manager_) manager_ = createSleepTrackingManager(config(), host_);
        manager_->stopTracking();
        pass(APIService::kAnswerCheck + 35s);  // an answer that found no memory comes with its timer
        heard = {};
        manager_->startTracking();
        pass(63s);
        createReports(config())->report("s1", [this](const auto&, const auto&) { ++heard.reports; });
        manager_->stopTracking();
        pass(20s);
        if (heard.created != 1) return "no session";
        if (heard.uploaded != 2) return "chunks are missing";
        if (heard.closed != 1) return "the session stays open";
        if (heard.ended != 1) return "not one final word";
        if (heard.reports < 1) return "no report";  // one of before may come with it
        if (reports_ && !reports_->isReady()) return "a query never ended";
        if (http->inFlight() > 0) return "a request is in flight";
        if (microphone->engines() > 0) return "the microphone is open";
        if (files->openFiles() > 0) return "a file is open";
        return nullptr;
    }

    /// After the objects have gone.
    const char* isClean() {
        reports_.reset();
        manager_.reset();
        Library::replace(emptyPlatform());
        pass(APIService::kAnswerCheck);  // those of the last answers
        if (loop->next()) return "a timer is left";
        if (microphone->engines() + microphone->taps() > 0) return "the microphone is left open";
        if (files->openFiles() > 0) return "a file is left open";
        return nullptr;
    }

    Heard heard;

  private:
    static std::optional<Url> base() { return Url::parse("http://localhost"); }
    static Config config() { return Config("key", "u1", base()); }

    static std::optional<HttpResult> answer(const HttpRequest& request) {
        const auto& url = request.url.absoluteString();
        if (url.find("/users") != url.npos) return HttpResponse{200, {}, R"({"result":{"user_id":"u1"}})"};
        if (url.ends_with("/sessions")) return HttpResponse{200, {}, R"({"result":{"session_id":"s1"}})"};
        if (url.find("data/v3") != url.npos) return HttpResponse{404, {}, R"({"detail":"not yet"})"};
        return HttpResponse{200, {}, "{}"};
    }

    // A host that has no memory either goes on with what it has.
    template <class Step>
    static void host(Step step) {
        try {
            step();
        } catch (const std::bad_alloc&) {
        } catch (const VelmorError&) {
        } catch (const PlatformError&) {
        } catch (const std::exception& error) {
            const Spared spared;
            std::printf("%s: an exception of an unexpected kind left the library: %s\n", underWay.data(),
                        error.what());
        }
    }

    void interrupt(bool begins) {
        const Spared spared;
        begins ? microphone->beginInterruption() : microphone->endInterruption();
    }

    void pass(std::chrono::nanoseconds length) {
        const auto end = clock->bootNow() + length;
        while (true) {
            const auto next =
                std::min(audio->next().value_or(BootTime::max()), loop->next().value_or(BootTime::max()));
            if (next > end) break;
            clock->advance(std::max(next - clock->bootNow(), 0ns));
            {
                const Spared spared;  // the sound server's own; what the tap posts is not
                audio->runUntilIdle();
            }
            host([this] { loop->runUntilIdle(); });  // a real transport lets an exception go no further
        }
        clock->advance(end - clock->bootNow());
    }

    const std::shared_ptr<Testing::VirtualClock> clock = std::make_shared<Testing::VirtualClock>();
    const std::shared_ptr<Testing::ManualExecutor> loop = std::make_shared<Testing::ManualExecutor>(clock);
    const std::shared_ptr<Testing::ManualExecutor> audio = std::make_shared<Testing::ManualExecutor>(clock);
    const std::shared_ptr<Testing::MemoryFiles> files = std::make_shared<Testing::MemoryFiles>();
    const std::shared_ptr<Testing::ScriptedTransport> http =
        std::make_shared<Testing::ScriptedTransport>(loop);
    const std::shared_ptr<Testing::VirtualMicrophone> microphone =
        std::make_shared<Testing::VirtualMicrophone>(audio, clock, std::make_shared<Silence>());
    const std::shared_ptr<Host> host_ = std::make_shared<Host>(heard);
    std::shared_ptr<SleepTrackingManager> manager_;
    std::optional<Async<Model::Report>> reports_;
};

// Where the night is that does not come back: for one that deadlocks or ends the process.
void announce(std::uint64_t nth, bool fromThenOn) {
    std::snprintf(underWay.data(), underWay.size(), "allocation %llu%s", static_cast<unsigned long long>(nth),
                  fromThenOn ? " and all that follow" : "");
    alarm(60);
}

[[noreturn]] void terminated() {
    std::fprintf(stderr, "std::terminate in %s\n", underWay.data());
    std::abort();
}

/// One night; null or what is wrong.
const char* play(std::uint64_t nth, bool fromThenOn, bool audio, std::uint64_t* count) {
    announce(nth, fromThenOn);
    Scene scene(audio);
    Allocations::arm(nth, fromThenOn);
    scene.night();
    const auto seen = Allocations::disarm();
    if (count != nullptr) *count = seen;
    if (const auto* wrong = scene.works()) return wrong;
    return scene.isClean();
}

const char* playTwice(std::uint64_t nth, bool fromThenOn, bool audio) {
    if (const auto* wrong = play(nth, fromThenOn, audio, nullptr)) return wrong;
    const auto before = Allocations::live();
    if (const auto* wrong = play(nth, fromThenOn, audio, nullptr)) return wrong;
    return Allocations::live() > before ? "memory leaks" : nullptr;
}

}  // namespace

bool sweepAllocations(const SweepOptions& options) {
    std::set_terminate(terminated);
    std::uint64_t count = 0;
    if (const auto* wrong = play(0, false, options.audio, &count)) {
        std::printf("the night without a fault: %s\n", wrong);
        return false;
    }
    std::size_t nights = 0, failed = 0;
    for (const bool fromThenOn : {false, true})
        for (std::uint64_t nth = 1; nth <= count; nth += options.stride) {
            ++nights;
            const auto* wrong = playTwice(nth, fromThenOn, options.audio);
            if (wrong != nullptr && failed++ < 40) std::printf("%s: %s\n", underWay.data(), wrong);
        }
    alarm(0);
    std::printf("each of %llu allocations: %zu nights, twice each, %zu failed (%.1f s)\n",
                static_cast<unsigned long long>(count), nights, failed,
                static_cast<double>(std::clock()) / CLOCKS_PER_SEC);
    return failed == 0 && count > 1000;
}

}  // namespace Velmor::Nights
