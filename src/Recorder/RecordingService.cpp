#include "Recorder/RecordingService.hpp"

#include "APIService/Iso8601.hpp"
#include "Preprocessor/Preprocessor.hpp"
#include "Recorder/Capture.hpp"
#include "Recorder/FileChunkStore.hpp"
#include "Runtime/Text.hpp"

#include <utility>

namespace Velmor {
std::string RecordingService::State::description() const {
    if (const auto* state = std::get_if<started>(&value))
        return joined({"started(", Iso8601::format(state->date), ")"});
    if (const auto* state = std::get_if<stopped>(&value))
        return state->error ? joined({"stopped(", state->error->description(), ")"}) : "stopped";
    if (const auto* state = std::get_if<error>(&value))
        return joined({"error(", state->error.description(), ")"});
    if (is<notDetermined>()) return "notDetermined";
    if (is<ready>()) return "ready";
    return is<interrupted>() ? "interrupted" : "resumed";
}

std::shared_ptr<RecordingService> RecordingService::make(const std::shared_ptr<const Platform>& platform,
                                                         const std::shared_ptr<LogAPI>& log,
                                                         CaptureParts parts) {
    if (!parts.convert)
        parts.convert = [platform](const std::string& path) {
            FileChunkStore store(platform);
            return Preprocessor::shared().convert(path, store);
        };
    std::shared_ptr<RecordingService> service(new RecordingService);
    service->capture_ = std::make_unique<Capture>(*service, platform, log, std::move(parts));
    service->handler_ =
        service->stateSender.subscribe([weak = service->weak_from_this()](const State& state) {
            if (const auto self = weak.lock()) self->capture_->handle(state);
        });
    return service;
}

RecordingService::RecordingService() = default;
RecordingService::~RecordingService() = default;

void RecordingService::start() {
    const auto keep = shared_from_this();
    capture_->start();
}

void RecordingService::stop() {
    const auto keep = shared_from_this();
    capture_->stop();
}

void RecordingService::resume() {
    const auto keep = shared_from_this();
    capture_->resume();
}

void RecordingService::reset() {
    const auto keep = shared_from_this();
    capture_->reset();
}

std::optional<WallTime> RecordingService::firstFrameTime() const {
    const auto& first = capture_->firstFrame();
    return first ? std::optional(first->date) : std::nullopt;
}

std::optional<std::chrono::nanoseconds> RecordingService::sinceFirstFrame() const {
    const auto& first = capture_->firstFrame();
    return first ? std::optional(capture_->now() - first->time) : std::nullopt;
}

}  // namespace Velmor
