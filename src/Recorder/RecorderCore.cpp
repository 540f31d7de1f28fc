#include "Recorder/RecorderCore.hpp"

#include "Runtime/Contain.hpp"

#include <atomic>
#include <utility>

namespace Velmor {

std::shared_ptr<RecorderCore> RecorderCore::make(const std::shared_ptr<const Platform>& platform,
                                                 const std::shared_ptr<LogAPI>& log,
                                                 const std::weak_ptr<VelmorRecordingDelegate>& delegate,
                                                 CaptureParts parts) {
    auto service = RecordingService::make(platform, log, std::move(parts));
    return make(platform, log, delegate, service);
}

std::shared_ptr<RecorderCore> RecorderCore::make(const std::shared_ptr<const Platform>& platform,
                                                 const std::shared_ptr<LogAPI>& log,
                                                 const std::weak_ptr<VelmorRecordingDelegate>& delegate,
                                                 const std::shared_ptr<RecordingService>& service) {
    std::shared_ptr<RecorderCore> core(new RecorderCore(platform, log, delegate, service));
    core->bridge();
    return core;
}

RecorderCore::RecorderCore(const std::shared_ptr<const Platform>& platform,
                           const std::shared_ptr<LogAPI>& log,
                           const std::weak_ptr<VelmorRecordingDelegate>& delegate,
                           const std::shared_ptr<RecordingService>& service)
    : platform_(platform), log_(log), delegate_(delegate), service_(service) {}

template <class Call>
void RecorderCore::tell(Call call) {
    const auto delegate = delegate_.lock();
    if (!delegate) return;
    contain([&] { call(*delegate); },
            [&](const std::string& reason) {
                log_->log(LogAPI::Level::E, "recording", {"the recording delegate threw: ", reason});
            });
}

void RecorderCore::bridge() {
    const auto weak = weak_from_this();
    bag_.add(service_->dataSender.subscribe([weak](const ChunkData& data) {
        const auto self = weak.lock();
        if (!self) return;
        if (self->delegate_.expired())
            self->log_->log(LogAPI::Level::W, "recording", "Recorder: nobody listens, chunk dropped");
        self->tell([&](VelmorRecordingDelegate& to) { to.recordedData(data.bytes, data.sequence); });
    }));
    bag_.add(service_->errorSender.subscribe([weak](const VelmorError& error) {
        if (const auto self = weak.lock())
            self->tell([&](VelmorRecordingDelegate& to) { to.didFail(error); });
    }));
    bag_.add(service_->interruptedSender.subscribe([weak](bool began) {
        if (const auto self = weak.lock())
            self->tell([&](VelmorRecordingDelegate& to) { began ? to.didInterrupt() : to.didResume(); });
    }));
}

void RecorderCore::hasPermission(const std::function<void(bool)>& answer) {
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

void RecorderCore::start(std::function<void(bool)> answer) {
    const auto keep = shared_from_this();
    hasPermission([weak = weak_from_this(), epoch = epoch_, answer = std::move(answer)](bool granted) {
        const auto self = weak.lock();
        if (!self) return;
        if (!granted) {  // the user's word counts, also after a stop
            self->log_->debugPrint("Recorder: start request can not working");
            self->tell([](VelmorRecordingDelegate& to) { to.micPermissionWasDenied(); });
        } else if (epoch == self->epoch_) {
            self->log_->debugPrint("Recorder: request start");
            self->service_->start();
        } else {
            return;
        }
        if (answer) answer(granted);
    });
}

void RecorderCore::stop() {
    log_->debugPrint("Recorder: request stop");
    cancelStart();
    service_->stop();
}

void RecorderCore::resume() {
    log_->debugPrint("Recorder: request resume");
    service_->resume();
}

}  // namespace Velmor
