#include "Recorder/MicrophoneRecorder.hpp"

#include "Runtime/Contain.hpp"

#include <atomic>
#include <utility>

namespace Velmor {

Recorder::~Recorder() = default;

std::shared_ptr<MicrophoneRecorder> MicrophoneRecorder::make(
    const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log,
    const std::weak_ptr<VelmorRecordingDelegate>& delegate, CaptureParts parts) {
    std::shared_ptr<MicrophoneRecorder> recorder(
        new MicrophoneRecorder(platform, log, delegate, std::move(parts)));
    recorder->hearService();
    return recorder;
}

MicrophoneRecorder::MicrophoneRecorder(const std::shared_ptr<const Platform>& platform,
                                       const std::shared_ptr<LogAPI>& log,
                                       const std::weak_ptr<VelmorRecordingDelegate>& delegate,
                                       CaptureParts parts)
    : platform_(platform),
      log_(log),
      delegate_(delegate),
      recordingService_(RecordingService::make(platform, log, std::move(parts))) {}

void MicrophoneRecorder::onMainLoop(std::function<void(MicrophoneRecorder&)> call) {
    platform_->mainLoop->post([weak = weak_from_this(), call = std::move(call)] {
        if (const auto self = weak.lock()) call(*self);
    });
}

Async<bool> MicrophoneRecorder::hasPermission() {
    const AsyncPromise<bool> promise;
    onMainLoop([promise](MicrophoneRecorder& self) {
        self.askPermission([promise, log = self.log_](bool granted) {
            contain([&] { promise.set(granted); },
                    [&](const std::string& reason) {
                        log->log(LogAPI::Level::E, "recording", {"A waiting task failed: ", reason});
                    });
        });
    });
    return promise.async();
}

void MicrophoneRecorder::startRecording() {
    onMainLoop([](MicrophoneRecorder& self) { self.start({}); });
}

void MicrophoneRecorder::stopRecording() {
    onMainLoop([](MicrophoneRecorder& self) { self.stop(); });
}

template <class Call>
void MicrophoneRecorder::tell(Call call) {
    const auto delegate = delegate_.lock();
    if (!delegate) return;
    contain([&] { call(*delegate); },
            [&](const std::string& reason) {
                log_->log(LogAPI::Level::E, "recording", {"the recording delegate threw: ", reason});
            });
}

void MicrophoneRecorder::hearService() {
    const auto weak = weak_from_this();
    bag_.add(recordingService_->dataSender.subscribe([weak](const ChunkData& data) {
        const auto self = weak.lock();
        if (!self) return;
        if (self->delegate_.expired())
            self->log_->log(LogAPI::Level::W, "recording", "Recorder: nobody listens, chunk dropped");
        self->tell([&](VelmorRecordingDelegate& to) { to.recordedData(data.bytes, data.sequence); });
    }));
    bag_.add(recordingService_->errorSender.subscribe([weak](const VelmorError& error) {
        if (const auto self = weak.lock())
            self->tell([&](VelmorRecordingDelegate& to) { to.didFail(error); });
    }));
    bag_.add(recordingService_->interruptedSender.subscribe([weak](bool began) {
        if (const auto self = weak.lock())
            self->tell([&](VelmorRecordingDelegate& to) { began ? to.didInterrupt() : to.didResume(); });
    }));
}

void MicrophoneRecorder::askPermission(const std::function<void(bool)>& answer) {
    log_->debugPrint("Recorder: check record permission");
    AudioSession& session = platform_->audio->session();
    const auto permission = session.recordPermission();
    if (permission != RecordPermission::undetermined) {
        const bool granted = permission == RecordPermission::granted;
        log_->debugPrint(granted ? "Recorder: granted record permission"
                                 : "Recorder: denied record permission");
        answer(granted);
        return;
    }
    log_->debugPrint("Recorder: undetermined record permission");
    auto once = std::make_shared<std::atomic<bool>>(false);
    session.requestRecordPermission(
        [weak = weak_from_this(), loop = std::weak_ptr(platform_->mainLoop), once, answer](bool granted) {
            const auto executor = loop.lock();
            if (!executor || once->exchange(true)) return;
            executor->post([weak, answer, granted] {
                const auto self = weak.lock();
                if (!self) return;
                self->log_->debugPrint(granted ? "Recorder: granted record permission"
                                               : "Recorder: denied record permission");
                answer(granted);
            });
        });
}

void MicrophoneRecorder::start(std::function<void(bool)> answer) {
    const auto keep = shared_from_this();
    askPermission(
        [weak = weak_from_this(), generation = startGeneration_, answer = std::move(answer)](bool granted) {
            const auto self = weak.lock();
            if (!self) return;
            if (!granted) {  // the user's word counts, also after a stop
                self->log_->debugPrint("Recorder: start request can not working");
                self->tell([](VelmorRecordingDelegate& to) { to.micPermissionWasDenied(); });
            } else if (generation == self->startGeneration_) {
                self->log_->debugPrint("Recorder: request start");
                self->recordingService_->start();
            } else {
                return;
            }
            if (answer) answer(granted);
        });
}

void MicrophoneRecorder::stop() {
    log_->debugPrint("Recorder: request stop");
    cancelStart();
    recordingService_->stop();
}

void MicrophoneRecorder::resume() {
    log_->debugPrint("Recorder: request resume");
    recordingService_->resume();
}

}  // namespace Velmor
