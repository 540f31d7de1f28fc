#include "Track/Bedside.hpp"

#include "Interrupt.hpp"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace VelmorApp {
namespace {

using namespace std::chrono_literals;

// A stop comes half a buffer after its time, so that the buffer that ends then is in.
constexpr auto kHalfBuffer = 200ms;
constexpr auto kSlice = 50ms;

}  // namespace

Bedside::Bedside(const SharedOptions& shared, const TrackOptions& options, std::unique_ptr<SoundSource> sound,
                 const std::optional<Velmor::Url>& logUrl)
    : shared_(shared), options_(options), logUrl_(logUrl) {
    if (options.fullSpeed) {
        const auto virtualClock = std::make_shared<Velmor::Testing::VirtualClock>(
            options.start.value_or(std::chrono::system_clock::now()));
        clock_ = virtualClock;
        manual_ = std::make_shared<Velmor::Testing::ManualExecutor>(virtualClock);
        timers_ = manual_;
    } else {
        clock_ = Velmor::makeClock();
        timers_ = std::make_shared<TimerThread>(clock_);
    }
    meter_ = std::make_shared<Meter>(
        Velmor::makeHttpTransport({.allowClearText = false, .caFile = shared.caFile}), manual_);
    if (!sound) {
        live_ =
            std::make_shared<LiveMicrophone>(Velmor::makeAudioSystem(clock_, {.source = options.microphone}));
        return;
    }
    playback_ = std::make_shared<Playback>(std::move(sound));
    microphone_ = std::make_shared<Velmor::Testing::VirtualMicrophone>(timers_, clock_, playback_);
    for (const Stretch& stretch : options.interruptions)
        microphone_->scheduleInterruption(stretch.from, stretch.to);
}

Bedside::~Bedside() = default;

Velmor::Platform Bedside::platform() const {
    Velmor::Platform platform;
    platform.clock = clock_;
    platform.mainLoop = platform.tasks = platform.background = manual_;  // empty in real time
    platform.http = meter_;
    platform.logUrl = logUrl_;
    platform.audio = microphone_;
    if (live_) platform.audio = live_;
    platform.files = Velmor::makeFileSystem({.documentsDirectory = shared_.dataDir, .temporaryRoot = {}});
    if (shared_.verbose)
        platform.console = [](std::string_view line) {
            std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
        };
    else
        platform.console = [](std::string_view) {};
    return platform;
}

void Bedside::arrangeEnd(const std::weak_ptr<Night>& night) {
    startedAt_ = clock_->bootNow().time_since_epoch().count();
    const auto stopLater = [night, timers = std::weak_ptr(timers_)](std::chrono::nanoseconds delay) {
        if (const auto executor = timers.lock())
            executor->postAfter(delay + kHalfBuffer, [night] {
                if (const auto self = night.lock()) self->stop();
            });
    };
    if (options_.duration) stopLater(*options_.duration);
    if (microphone_) microphone_->whenEnded([stopLater] { stopLater(0ns); });
}

void Bedside::run(Night& night, const std::function<void()>& tick) {
    if (manual_)
        runVirtually(night, tick);
    else
        runReally(night, tick);
}

// Runs what is due until neither work is left nor a request under way, or until a request has to be waited
// for. True in the first case. An answer is posted before its request counts as ended, hence the second look.
bool Bedside::settle() {
    do {
        manual_->runUntilIdle();
        if (meter_->underWay() > 0) return false;
    } while (manual_->runUntilIdle() > 0);
    return true;
}

void Bedside::runVirtually(Night& night, const std::function<void()>& tick) {
    bool interrupted = false;
    for (;;) {
        const bool settled = settle();
        tick();
        if (interruptRequested() && !std::exchange(interrupted, true)) {
            night.interrupt();
        } else if (night.isOver() && (settled || !night.hasSession())) {
            return;
        } else if (!settled) {
            manual_->waitForWork(kSlice);
        } else {
            night.watch(0, !manual_->advanceToNext());
        }
    }
}

void Bedside::runReally(Night& night, const std::function<void()>& tick) {
    bool interrupted = false;
    while (!night.waitUntilOver(kSlice)) {
        if (interruptRequested() && !std::exchange(interrupted, true)) night.interrupt();
        night.watch(meter_->underWay(), false);
        tick();
    }
    // What is still under way is owed an answer too; a few quiet slices say that no more is coming.
    for (int quiet = 0; quiet < 4 && night.hasSession(); ++quiet) {
        std::this_thread::sleep_for(kSlice);
        if (meter_->underWay() > 0) quiet = -1;
    }
}

std::chrono::nanoseconds Bedside::elapsed() const {
    const std::int64_t start = startedAt_;
    return start < 0 ? 0ns : clock_->bootNow().time_since_epoch() - std::chrono::nanoseconds{start};
}

std::optional<std::chrono::nanoseconds> Bedside::expected() const {
    std::optional<std::chrono::nanoseconds> result = options_.duration;
    if (playback_ && playback_->frames()) {
        const std::chrono::nanoseconds sound{
            static_cast<std::int64_t>(*playback_->frames() * 1'000'000ULL / kMicrophoneRate) * 1000};
        result = result ? std::min(*result, sound) : sound;
    }
    return result;
}

double Bedside::audioSeconds() const {
    return static_cast<double>(live_ ? live_->frames() : microphone_->framesDelivered()) / kMicrophoneRate;
}

}  // namespace VelmorApp
