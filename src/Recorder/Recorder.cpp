#include "Recorder/RecorderCore.hpp"
#include "Runtime/Contain.hpp"

#include <functional>
#include <utility>

#include <Velmor/Recorder.hpp>

namespace Velmor {
namespace {

/// Runs `call` on the main loop, unless the recorder is gone by then.
void onMainLoop(const std::shared_ptr<RecorderCore>& core, std::function<void(RecorderCore&)> call) {
    core->platform()->mainLoop->post([weak = std::weak_ptr(core), call = std::move(call)] {
        if (const auto self = weak.lock()) call(*self);
    });
}

}  // namespace

Recorder::Recorder(std::shared_ptr<RecorderCore> core) : core_(std::move(core)) {}

Recorder::~Recorder() = default;

Async<bool> Recorder::hasPermission() {
    const AsyncPromise<bool> promise;
    onMainLoop(core_, [promise](RecorderCore& core) {
        core.hasPermission([promise, log = core.log()](bool granted) {
            contain([&] { promise.set(granted); },
                    [&](const std::string& reason) {
                        log->log(LogAPI::Level::E, "recording", {"A waiting task failed: ", reason});
                    });
        });
    });
    return promise.async();
}

void Recorder::startRecording() {
    onMainLoop(core_, [](RecorderCore& core) { core.start({}); });
}

void Recorder::stopRecording() {
    onMainLoop(core_, [](RecorderCore& core) { core.stop(); });
}

}  // namespace Velmor
