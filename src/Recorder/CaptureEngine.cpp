#include "Recorder/CaptureEngine.hpp"

#include "Recorder/AudioConstants.hpp"

#include <utility>

namespace Velmor {

CaptureEngine::CaptureEngine(const std::shared_ptr<const Platform>& platform) : platform_(platform) {}

void CaptureEngine::configureSession() {
    platform_->audio->session().configure({.preferredSampleRate = kInputRate});
}

void CaptureEngine::activateSession() {
    configureSession();
    platform_->audio->session().activate();
}

void CaptureEngine::rebuild(bool fresh) {
    if (engine_) takeApart();
    if (fresh) engine_.reset();
    if (!engine_) engine_ = platform_->audio->makeEngine();
    engine_->attachMixer(0.0F);
    hasMixer_ = true;
    configureSession();
}

void CaptureEngine::takeApart() {
    engine_->removeTap();
    if (std::exchange(hasMixer_, false)) engine_->detachMixer();
    engine_->stop();
}

AudioFormat CaptureEngine::inputFormat() {
    return engine_->inputFormat();
}

void CaptureEngine::start(AudioEngine::Tap tap) {
    engine_->removeTap();
    engine_->installTap(kBlockFrames, {static_cast<double>(kInputRate), 1}, std::move(tap));
    try {
        engine_->start();
    } catch (...) {
        engine_->removeTap();
        throw;
    }
}

void CaptureEngine::pause() {
    if (engine_) engine_->pause();
}

void CaptureEngine::release() noexcept {
    hasMixer_ = false;
    engine_.reset();
}

bool CaptureEngine::isRunning() {
    return engine_ && engine_->isRunning();
}

}  // namespace Velmor
