#include "SleepTrackingManager/UploadBitmap.hpp"

#include <cstddef>
#include <utility>

namespace Velmor {

UploadBitmap::UploadBitmap(std::function<void(const std::string&)> write) : write_(std::move(write)) {
    logAudioBuffer_.reserve(logMaxSize);
}

void UploadBitmap::mark(std::int64_t sequence) {
    const auto length = [this] { return static_cast<std::int64_t>(logAudioBuffer_.size()); };
    logCounter_ = sequence % logMaxSize;
    for (;;) {
        if (length() == logMaxSize) writeOut();
        if (length() == logCounter_) break;
        logAudioBuffer_.push_back(0);
    }
    logAudioBuffer_.push_back(1);
    if (length() == logMaxSize) writeOut();
}

void UploadBitmap::finish() {
    writeOut();
    startIndex_ = 0;
}

void UploadBitmap::writeOut() {
    if (logAudioBuffer_.empty()) return;
    write_(line());
    logAudioBuffer_.clear();
    startIndex_ += logMaxSize;
    logCounter_ = 0;
}

std::string UploadBitmap::line() const {
    std::string text = std::to_string(startIndex_);
    for (std::size_t i = 0; i < logAudioBuffer_.size(); ++i) {
        if (i % static_cast<std::size_t>(logUnitSize) == 0) text += ' ';
        text += logAudioBuffer_[i] != 0 ? '1' : '0';
    }
    return text;
}

}  // namespace Velmor
