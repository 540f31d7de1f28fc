#include "Recorder/ChunkCutter.hpp"

#include "Recorder/AudioConstants.hpp"
#include "Recorder/ErrorText.hpp"
#include "Recorder/LocalDigits.hpp"
#include "Runtime/Contain.hpp"
#include "Runtime/Text.hpp"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace Velmor {

std::int64_t chunkSequence(BootTime first, BootTime end) {
    return (end - first - kChunkPeriod / 2) / kChunkPeriod;
}

ChunkCutter::ChunkCutter(const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log,
                         BootTime first, Finished finished)
    : platform_(platform),
      log_(log),
      first_(first),
      finished_(std::move(finished)),
      chunkFiles_{makeFile(chunkName("_0")), makeFile(chunkName("_1"))} {}

std::exception_ptr ChunkCutter::append(std::span<const float> frames, BootTime captured) {
    while (true) {
        const auto room = static_cast<std::size_t>(kChunkFrames - current().length());
        const auto head = frames.first(std::min(frames.size(), room));
        try {
            current().append(head);
        } catch (...) {
            lost_ += std::ssize(frames);
            const auto error = std::current_exception();
            const bool first = !std::exchange(reported_, true);
            if (lost_ >= kChunkFrames)
                drop("write ERROR, chunk dropped: ", error);  // the next file may do better
            return first ? error : nullptr;
        }
        if (current().length() < kChunkFrames) return nullptr;
        frames = frames.subspan(head.size());
        rotate(chunkSequence(first_, captured - kChunkFrameTime * std::ssize(frames)));
        if (frames.empty()) return nullptr;
    }
}

void ChunkCutter::fillGap(BootTime from, BootTime to) {
    const std::int64_t gap = std::max(to - from, std::chrono::nanoseconds{0}) / kChunkFrameTime;
    const std::int64_t room = kChunkFrames - current().length();
    try {
        current().appendSilence(std::min(room, gap));
        if (gap <= room) return;
    } catch (...) {
        drop("silence ERROR, chunk dropped: ", std::current_exception());
        return;
    }
    rotate(chunkSequence(first_, from + room * kChunkFrameTime));
    try {
        current().appendSilence((gap - room) % kChunkFrames);
    } catch (...) {
        logError("silence ERROR: ", std::current_exception());
    }
}

void ChunkCutter::drop(const char* what, const std::exception_ptr& error) {
    logError(what, error);
    rotate({});
}

void ChunkCutter::logError(const char* what, const std::exception_ptr& error) noexcept {
    contain([&] { log_->log(LogAPI::Level::E, "recording", {what, errorText(error)}); });
}

ChunkFile& ChunkCutter::current() {
    if (!chunkFiles_[0])
        chunkFiles_[0] = chunkFiles_[1] ? std::move(chunkFiles_[1]) : makeFile(chunkName(""));
    return *chunkFiles_[0];
}

void ChunkCutter::rotate(std::optional<std::int64_t> sequence) {
    const auto done = std::move(chunkFiles_[0]);
    if (sequence) {
        // After lost frames chunks may end half a period off, where two could fall to one number.
        last_ = std::max(*sequence, last_ + 1);
        publish(*done, last_);
    }
    done->remove();
    reported_ = false;
    lost_ = 0;
    auto name = chunkName("");
    if (current().name() != name) chunkFiles_[1] = makeFile(std::move(name));
}

void ChunkCutter::publish(ChunkFile& chunk, std::int64_t sequence) noexcept {
    try {
        chunk.finish();
        finished_(chunk.path(), sequence);
    } catch (...) {
        logError("write ERROR, chunk dropped: ", std::current_exception());
    }
}

void ChunkCutter::removeFiles(const std::function<void(const std::string& path)>& removed) {
    for (auto& file : chunkFiles_) {
        if (file && file->remove()) removed(file->path());
        file.reset();
    }
}

std::string ChunkCutter::chunkName(const char* suffix) const {
    const std::tm time = platform_->device->localTime(platform_->clock->wallNow());
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d:%02d", time.tm_mday, time.tm_hour, time.tm_min,
                  time.tm_sec);
    return joined({"chunk-", withDigitsOf(platform_->device->language(), text.data()), suffix, ".pcm"});
}

std::unique_ptr<ChunkFile> ChunkCutter::makeFile(std::string name) const {
    return std::make_unique<ChunkFile>(platform_->files, std::move(name));
}

}  // namespace Velmor
