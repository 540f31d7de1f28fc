#include "SleepTrackingManager/UploadBitmap.hpp"

#include <cstddef>
#include <utility>

namespace Velmor {

UploadBitmap::UploadBitmap(std::function<void(const std::string&)> write) : write_(std::move(write)) {
    logAudioBuffer_.reserve(kPageSize);
}

void UploadBitmap::mark(std::int64_t sequence) {
    const auto length = [this] { return static_cast<std::int64_t>(logAudioBuffer_.size()); };
    logCounter_ = sequence % kPageSize;
    for (;;) {
        if (length() == kPageSize) writeOut();
        if (length() == logCounter_) break;
        logAudioBuffer_.push_back(0);
    }
    logAudioBuffer_.push_back(1);
    if (length() == kPageSize) writeOut();
}

void UploadBitmap::finish() {
    writeOut();
    startIndex_ = 0;
}

void UploadBitmap::writeOut() {
    if (logAudioBuffer_.empty()) return;
    write_(line());
    logAudioBuffer_.clear();
    startIndex_ += kPageSize;
    logCounter_ = 0;
}

std::string UploadBitmap::line() const {
    std::string text = std::to_string(startIndex_);
    for (std::size_t i = 0; i < logAudioBuffer_.size(); ++i) {
        if (i % static_cast<std::size_t>(kGroupSize) == 0) text += ' ';
        text += logAudioBuffer_[i] != 0 ? '1' : '0';
    }
    return text;
}

}  // namespace Velmor
