#include "Night.hpp"

#include "APIService/APIService.hpp"
#include "EmptyPlatform.hpp"
#include "Hosts.hpp"
#include "Library.hpp"
#include "Preprocessor/Preprocessor.hpp"
#include "Random.hpp"
#include "Recorder/AudioConstants.hpp"
#include "Recorder/FileChunkStore.hpp"
#include "tests/Recorder/CountedSamples.hpp"

#include <algorithm>
#include <set>
#include <stdexcept>

namespace Velmor::Nights {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

/// A second of noise, again and again; or nothing at all.
class Bedroom : public Testing::AudioSource {
  public:
    explicit Bedroom(bool audible) {
        Random random(1);
        if (audible) noise_.resize(kInputRate);
        for (auto& value : noise_) value = static_cast<float>(random.below(2'001) - 1'000) * 2e-5F;
    }
    std::size_t read(std::uint64_t firstFrame, std::span<float> out) override {
        for (std::size_t done = 0; !noise_.empty() && done < out.size();) {
            const auto from = static_cast<std::size_t>((firstFrame + done) % kInputRate);
            const auto count = std::min(out.size() - done, noise_.size() - from);
            std::copy_n(noise_.begin() + static_cast<std::ptrdiff_t>(from), count,
                        out.begin() + static_cast<std::ptrdiff_t>(done));
            done += count;
        }
        return out.size();
    }

  private:
    std::vector<float> noise_;
};

}  // namespace

Night::Night(const Plan& of, bool keepTrace) : plan(of), trace(keepTrace) {
    service = std::make_shared<Service>(loop, clock, ledger, plan.seed, kKey, plan.audio);
    microphone =
        std::make_shared<Testing::VirtualMicrophone>(audio, clock, std::make_shared<Bedroom>(plan.audio));
    usualBuffers = {plan.audio ? 19'200U : 76'800U};  // the longer, the faster; 2 s would be a silence
    microphone->setBufferSizes(usualBuffers);
    watched_ = std::make_shared<WatchedFiles>(files, ledger);
}

Night::~Night() {
    Library::replace(emptyPlatform());
    setDebugLoggerDelegate(nullptr);
}

void Night::install() {
    Platform platform;
    platform.clock = clock;
    platform.mainLoop = platform.tasks = platform.background = loop;
    platform.http = service;
    platform.audio = microphone;
    platform.files = watched_;
    platform.device = device;
    platform.console = [this](std::string_view line) {
        if (line.starts_with("Task failed"))
            ledger.broken("an exception reached a loop: " + std::string(line));
    };
    const auto shared = std::make_shared<const Platform>(platform);
    if (plan.audio)
        realConvert_ = [shared](const std::string& path) {
            FileChunkStore store(shared);
            return Preprocessor::shared().convert(path, store);
        };
    else
        realConvert_ = [this, shared](const std::string&) {
            FileChunkStore store(shared);
            const auto text = "mel " + std::to_string(++conversions_) + " end";
            auto mel = store.temporaryDirectory() + "result-" + store.mediumTime() + ".mel";
            store.write(mel, std::as_bytes(std::span(text)));
            return mel;
        };
    hearDebugLines();
    const auto watched = [this](const std::string& path) { return convert(path); };
    Library::replace(platform, plan.audio ? CaptureParts{watched} : countingParts(watched));
}

std::string Night::convert(const std::string& path) {
    ledger.soundCounted();
    try {
        if (conversionsToFail_ > 0 && conversionsToFail_-- > 0) throw std::runtime_error("simulated");
        const auto bytes = files->size(path);
        if (bytes && *bytes != 56 + 4 * static_cast<std::uint64_t>(kChunkFrames))
            ledger.broken("a chunk file of " + std::to_string(*bytes) + " bytes");
        auto mel = realConvert_(path);
        ledger.converted();
        return mel;
    } catch (...) {
        ledger.conversionFailed();
        throw;
    }
}

Outcome Night::run() {
    install();
    for (const auto& fault : plan.faults)
        later(fault.at, [this, &fault] {
            ledger.note(std::string("FAULT ") + fault.kind->name + " " + std::to_string(fault.length) + " " +
                        std::to_string(fault.variant));
            if (!fault.kind->harmless) ledger.disturbed(milliseconds(fault.length) + 5s);
            if (fault.kind->group != Group::server) ledger.mayFail();
            fault.kind->apply(*this, fault.length, fault.variant);
        });
    later(0ms, [this] { configure(); });
    later(5s, [this] { replaceManager(false); });
    later(10s, [this] { start(); });
    later(kGlance, [this] { lookAfter(); });
    try {
        runFor(plan.length);
        end();
    } catch (const std::exception& error) {
        ledger.broken(std::string("an exception left the library: ") + error.what());
    }
    ledger.note("chunks " + std::to_string(ledger.chunks()));
    return {ledger.violations(), trace.lines(), trace.hash(),
            ledger.chunks(),     operations_,   ledger.lastUpload()};
}

// --- time ---

void Night::later(milliseconds delay, std::function<void()> action) {
    agenda_.emplace(clock->bootNow() + delay, std::move(action));
}

void Night::stall(milliseconds length) {
    stalledUntil_ = std::max(stalledUntil_, clock->bootNow() + length);
}

void Night::suspend(milliseconds length) {
    clock->advance(length);
    ledger.soundCounted();
}

void Night::failFiles(milliseconds length) {
    filesFailUntil_ = std::max(filesFailUntil_, clock->bootNow() + length);
}

void Night::endFileFault() {
    operations_ = files->operationCount();
    files->clearFaults();
}

void Night::runFor(nanoseconds length) {
    const auto end = clock->bootNow() + length;
    while (step(end)) {
    }
    if (clock->bootNow() < end) clock->advance(end - clock->bootNow());
}

bool Night::step(BootTime end) {
    const auto now = clock->bootNow();
    auto next = std::min(audio->next().value_or(BootTime::max()),
                         std::max(loop->next().value_or(BootTime::max()), stalledUntil_));
    if (!agenda_.empty()) next = std::min(next, agenda_.begin()->first);
    if (next > end) return false;
    if (next > now) clock->advance(next - now);
    const bool stalled = clock->bootNow() < stalledUntil_;
    while (audio->runUntilIdle() + (stalled ? 0 : loop->runUntilIdle()) > 0) {
    }
    if (!stalled) ledger.settle();
    ledger.checkSound(!stalled && clock->bootNow() >= filesFailUntil_ && microphone->isAvailable());
    checkCalls();
    while (!agenda_.empty() && agenda_.begin()->first <= clock->bootNow())
        agenda_.extract(agenda_.begin()).mapped()();
    return true;
}

// --- the end ---

void Night::end() {
    ledger.note("the night ends");
    agenda_.clear();
    files->clearFaults();
    if (files->contents("/tmp/velmor")) files->remove("/tmp/velmor");
    armed_.reset();
    stalledUntil_ = clock->bootNow();
    stop();
    if (const auto recorder = std::exchange(recorderBeside_, nullptr)) recorder->stopRecording();
    runFor(5min);
    for (int minutes = 0; ledger.inFlight() > 0 && minutes < 30; ++minutes) runFor(1min);
    analyse();
    runFor(40s);
    for (const auto& holds : expectations_) holds();
    checkLeftOvers();
    ledger.abandoned(owner_);
    ledger.twoManagers();
    manager_.reset();
    former_.clear();
    Library::replace(emptyPlatform());
    runFor(31s);  // an answer that nobody waits for any more still takes its time, 30 s at most
    checkReleased();
    ledger.finish();
}

// Nothing but what a recording needs may be asked of the microphone, and nothing that it refuses.
void Night::checkCalls() {
    static const std::set<std::string> kUsual{"configure 48000 mixing speaker built-in",
                                              "activate",
                                              "make engine",
                                              "attach mixer 0",
                                              "start",
                                              "install tap 19200 48000x1",
                                              "remove tap",
                                              "detach mixer",
                                              "pause",
                                              "stop",
                                              "release"};
    for (const auto& call : microphone->takeCalls())
        if (!kUsual.contains(call)) ledger.broken("asked of the microphone: " + call);
    for (const auto& refusal : microphone->refusals()) ledger.broken("refused by the microphone: " + refusal);
}

void Night::checkMicrophoneGone(const char* when) {
    if (!former_.empty() || beside_) return;  // they may be recording
    if (microphone->engines() + microphone->taps() > 0)
        ledger.broken(std::string("the microphone is open ") + when);
}

void Night::checkLeftOvers() {
    std::size_t temporary = 0;
    bool sendFile = false;
    for (const auto& path : files->paths()) {
        temporary += path.starts_with("/tmp/velmor/") ? 1U : 0U;
        if (path.ends_with("/VelmorSDK.log")) ledger.checkLogText(files->contents(path).value_or(""), "\n");
        sendFile = sendFile || path.ends_with("_send.log");
        if (files->contents(path).value_or("").find(kKey) != std::string::npos)
            ledger.broken("the API key is in " + path);
    }
    if (former_.empty() && temporary > watched_->temporaryFaults())
        ledger.broken(std::to_string(temporary) + " files left behind");
    if (sendFile && watched_->documentsFaults() == 0) ledger.broken("the send file was kept");
}

void Night::checkReleased() {
    former_.clear();
    beside_.reset();
    host_.reset();
    formerHosts_.clear();
    checkMicrophoneGone("after its owner went");
    if (managers_ == 1 && recordersBeside_ == 0 && microphone->mostTaps() > 1)
        ledger.broken("two taps at once");
    loop->advance(APIService::kAnswerCheck);  // no request sets a longer timer
    if (loop->next() || audio->next()) ledger.broken("timers left behind");
    if (files->openFiles() > 0) ledger.broken(std::to_string(files->openFiles()) + " files left open");
    realConvert_ = nullptr;
    if (watched_.use_count() > 1 || service.use_count() > 1)
        ledger.broken("somebody still holds the platform: " + std::to_string(watched_.use_count()));
}

}  // namespace Velmor::Nights
