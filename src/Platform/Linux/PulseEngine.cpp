#include "Platform/Linux/PulseEngine.hpp"

#include "Runtime/Text.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace Velmor {
namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kRate = 48'000;
constexpr auto kPatience = 2s;  // of the main loop, for a stream on the same machine
// Shorter than a buffer of the client's, so that little is under way when a recording stops.
constexpr std::uint32_t kLongestFragment = kRate / 10;
// No server holds back more (libpulse's own buffer is 21 s); an estimate beyond it is a wrong one.
constexpr std::chrono::nanoseconds kLongestLatency = 30s;

constexpr std::chrono::nanoseconds duration(std::size_t frames) {
    return std::chrono::nanoseconds{static_cast<std::int64_t>(frames * 62'500 / 3)};
}

}  // namespace

PulseEngine::PulseEngine(const std::shared_ptr<PulseConnection>& connection,
                         const std::shared_ptr<const Clock>& clock, std::string source)
    : connection_(connection), clock_(clock), source_(std::move(source)) {
    const Lock locked(connection_->loop().mutex());
    connection_->add(*this);
}

PulseEngine::~PulseEngine() {
    const Lock locked(connection_->loop().mutex());
    close();
    connection_->remove(*this);
}

// The server converts whatever the input is to what it was asked for.
AudioFormat PulseEngine::inputFormat() {
    return {double{kRate}, 1};
}

bool PulseEngine::isRunning() {
    const Lock locked(connection_->loop().mutex());
    return mode_ == Mode::running;
}

// Nothing is played, so there is nothing to be silenced.
void PulseEngine::attachMixer(float) {}
void PulseEngine::detachMixer() {}

void PulseEngine::installTap(std::uint32_t bufferFrames, const AudioFormat&, Tap tap) {
    const Lock locked(connection_->loop().mutex());
    bufferFrames_ = bufferFrames;
    tap_.swap(tap);
}

void PulseEngine::removeTap() {
    Tap tap;  // destroyed outside the lock
    const Lock locked(connection_->loop().mutex());
    tap_.swap(tap);
}

void PulseEngine::start() {
    Lock locked(connection_->loop().mutex());
    if (mode_ == Mode::running) return;
    close();
    mode_ = Mode::stopped;
    interrupted_ = serverLost_ = false;
    if (!connection_->isReady()) throw PlatformError(connection_->lastFailure());
    mode_ = Mode::starting;
    open();
    connection_->loop().waitFor(locked, kPatience, [this] { return standing_ || stream_ == nullptr; });
    if (stream_ == nullptr) {
        mode_ = Mode::stopped;
        throw PlatformError(*failure_);
    }
    // A server that says nothing yet may be waiting for an input; frames that stay away are noticed above.
    if (mode_ == Mode::starting) mode_ = Mode::running;
}

void PulseEngine::pause() {
    const Lock locked(connection_->loop().mutex());
    if (mode_ == Mode::running) mode_ = Mode::paused;
}

void PulseEngine::stop() {
    const Lock locked(connection_->loop().mutex());
    close();
    mode_ = Mode::stopped;
    interrupted_ = serverLost_ = false;
}

void PulseEngine::reopen() {
    open();
    if (stream_ == nullptr) connection_->retryLater();
}

void PulseEngine::open() {
    constexpr pa_sample_spec kFormat{PA_SAMPLE_FLOAT32NE, kRate, 1};
    stream_ = pulse().stream_new(connection_->context(), "microphone", &kFormat, nullptr);
    if (stream_ == nullptr) {
        failure_ = connection_->failure(inputName());
        return;
    }
    listen();
    constexpr auto kUnset = static_cast<std::uint32_t>(-1);
    const auto fragment = std::min(bufferFrames_ > 0 ? bufferFrames_ : kLongestFragment, kLongestFragment);
    const pa_buffer_attr buffers{kUnset, kUnset, kUnset, kUnset,
                                 static_cast<std::uint32_t>(fragment * sizeof(float))};
    const auto flags = static_cast<pa_stream_flags_t>(
        PA_STREAM_INTERPOLATE_TIMING | PA_STREAM_AUTO_TIMING_UPDATE | PA_STREAM_ADJUST_LATENCY);
    const char* source = source_.empty() ? nullptr : source_.c_str();
    if (pulse().stream_connect_record(stream_, source, &buffers, flags) >= 0) return;
    failure_ = connection_->failure(inputName());
    close();
}

void PulseEngine::listen() {
    const auto state = [](pa_stream*, void* self) { static_cast<PulseEngine*>(self)->stateChanged(); };
    const auto suspended = [](pa_stream*, void* self) {
        static_cast<PulseEngine*>(self)->lookAtSuspension();
    };
    const auto moved = [](pa_stream*, void* self) { static_cast<PulseEngine*>(self)->moved(); };
    const auto readable = [](pa_stream*, std::size_t, void* self) {
        static_cast<PulseEngine*>(self)->read();
    };
    pulse().stream_set_state_callback(stream_, state, this);
    pulse().stream_set_suspended_callback(stream_, suspended, this);
    pulse().stream_set_moved_callback(stream_, moved, this);
    pulse().stream_set_read_callback(stream_, readable, this);
}

void PulseEngine::close() {
    standing_ = false;
    auto* const stream = std::exchange(stream_, nullptr);
    if (stream == nullptr) return;
    pulse().stream_set_state_callback(stream, nullptr, nullptr);
    pulse().stream_set_suspended_callback(stream, nullptr, nullptr);
    pulse().stream_set_moved_callback(stream, nullptr, nullptr);
    pulse().stream_set_read_callback(stream, nullptr, nullptr);
    pulse().stream_disconnect(stream);
    pulse().stream_unref(stream);
}

void PulseEngine::stateChanged() {
    const auto state = pulse().stream_get_state(stream_);
    if (state == PA_STREAM_READY)
        becameReady();
    else if (!PA_STREAM_IS_GOOD(state))
        failed(connection_->failure(inputName()));
}

void PulseEngine::becameReady() {
    const std::string device = deviceName();
    if (isAnother(device)) {
        failed({PlatformError::Kind::audioUnavailable, joined({"there is no input \"", source_, "\""})});
        return;
    }
    standing_ = true;
    device_ = device;
    connection_->recovered();
    if (mode_ == Mode::lost) mode_ = Mode::paused;
    if (mode_ == Mode::starting) mode_ = Mode::running;
    lookAtSuspension();
}

// PipeWire records from its default input where there is none of the name asked for, which nobody would
// notice. Numbers and names such as @DEFAULT_SOURCE@ are resolved by the server.
bool PulseEngine::isAnother(const std::string& device) const {
    const bool isName =
        source_.find_first_not_of("0123456789") != std::string::npos && source_.front() != '@';
    return isName && device != source_;
}

void PulseEngine::failed(const PlatformError& error) {
    failure_ = error;
    if (!connection_->isAlive()) serverLost_ = true;
    close();
    if (mode_ == Mode::starting) return;  // `start` throws
    mode_ = Mode::lost;
    if (!interrupted_) beginInterruption(failure_->what());
    connection_->retryLater();
}

void PulseEngine::moved() {
    const std::string before = std::exchange(device_, deviceName());
    connection_->notify({AudioNotification::RouteChanged{joined({"moved to ", device_}), {before}}, {}});
    lookAtSuspension();
}

void PulseEngine::lookAtSuspension() {
    const bool suspended = pulse().stream_is_suspended(stream_) == 1;
    if (suspended && !interrupted_)
        beginInterruption(joined({inputName(), " is suspended"}));
    else if (!suspended && interrupted_)
        endInterruption();
}

void PulseEngine::beginInterruption(const std::string& details) {
    interrupted_ = true;
    if (mode_ == Mode::running) mode_ = Mode::paused;
    connection_->notify({AudioNotification::InterruptionBegan{}, details});
}

void PulseEngine::endInterruption() {
    interrupted_ = false;
    if (std::exchange(serverLost_, false))
        connection_->notify(
            {AudioNotification::MediaServicesReset{}, joined({"the sound server is back, ", inputName()})});
    else
        connection_->notify({AudioNotification::InterruptionEnded{}, joined({inputName(), " is back"})});
}

void PulseEngine::read() {
    const void* data = nullptr;
    std::size_t bytes = 0;
    while (pulse().stream_peek(stream_, &data, &bytes) >= 0 && bytes > 0) {
        try {
            if (mode_ == Mode::running && tap_) deliver(data, bytes);
        } catch (...) {  // a fault of the client's; there is C above
        }
        pulse().stream_drop(stream_);
    }
}

void PulseEngine::deliver(const void* data, std::size_t bytes) {
    static std::array<float, 480> kSilence{};  // constants would be in the library's file
    const std::size_t frames = bytes / sizeof(float);
    const BootTime end = capturedUpTo(frames);
    if (data != nullptr) {
        tap_({static_cast<const float*>(data), frames}, end);
        return;
    }
    for (std::size_t done = 0; done < frames;) {  // a hole, where the server had to drop something
        const auto count = std::min(frames - done, kSilence.size());
        done += count;
        tap_(std::span(kSilence).first(count), end - duration(frames - done));
    }
}

// The latency is the age of the next frame to be read.
BootTime PulseEngine::capturedUpTo(std::size_t frames) {
    const BootTime now = clock_->bootNow();
    pa_usec_t latency = 0;
    int ahead = 0;
    const bool known = pulse().stream_get_latency(stream_, &latency, &ahead) >= 0 && ahead == 0;
    const std::chrono::nanoseconds age = std::chrono::microseconds{known ? latency : 0};
    const BootTime end = age > kLongestLatency ? now : std::min(now, now - age + duration(frames));
    lastCaptured_ = std::max(lastCaptured_, end);
    return lastCaptured_;
}

std::string PulseEngine::deviceName() const {
    const char* name = pulse().stream_get_device_name(stream_);
    return name != nullptr ? name : source_;
}

std::string PulseEngine::inputName() const {
    if (!device_.empty()) return joined({"input \"", device_, "\""});
    return source_.empty() ? "the default input" : joined({"input \"", source_, "\""});
}

}  // namespace Velmor
