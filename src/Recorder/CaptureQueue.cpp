#include "Recorder/CaptureQueue.hpp"

#include "Recorder/AudioConstants.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace Velmor {

CaptureQueue::CaptureQueue(std::unique_ptr<SampleBuffer> samples)
    : samples_(std::move(samples)), marks_(kMarks), newest_(std::numeric_limits<std::int64_t>::min()) {}

bool CaptureQueue::push(std::span<const float> frames, BootTime captured) noexcept {
    if (frames.empty()) return false;
    newest_.store(captured.time_since_epoch().count());
    const auto marksWritten = marksWritten_.load(std::memory_order_relaxed);
    const auto marksWaiting = marksWritten - marksRead_.load(std::memory_order_acquire);
    const auto waiting = written_ - read_.load(std::memory_order_acquire);
    const auto room = marksWaiting < kMarks ? kCapacity - waiting : 0;
    const auto kept = std::min<std::uint64_t>(frames.size(), room);
    if (kept < frames.size()) lost_.fetch_add(frames.size() - kept);
    if (kept > 0) {
        samples_->put(frames.first(kept), written_);
        written_ += kept;
        marks_[marksWritten % kMarks] = {written_, captured - inputTime(frames.size() - kept)};
        marksWritten_.store(marksWritten + 1, std::memory_order_release);
    }
    const bool due = waiting + kept >= kBlockFrames || marksWaiting >= kMarks / 2;
    return due && !told_.exchange(true);
}

CaptureQueue::Block CaptureQueue::take(std::span<float> out, std::size_t atLeast,
                                       std::chrono::nanoseconds gap) {
    Block block;
    auto marksRead = marksRead_.load(std::memory_order_relaxed);
    const auto marksWritten = marksWritten_.load(std::memory_order_acquire);
    auto position = read_.load(std::memory_order_relaxed);
    if (marksRead == marksWritten || marks_[(marksWritten - 1) % kMarks].end - position < atLeast)
        return block;
    while (block.frames < out.size() && marksRead != marksWritten) {
        const Mark& mark = marks_[marksRead % kMarks];
        const auto left = mark.end - position;
        const auto begin = mark.captured - inputTime(left);
        if (block.frames > 0 && begin - block.end >= gap) break;
        if (block.frames == 0) block.begin = begin;
        const auto count = std::min<std::uint64_t>(left, out.size() - block.frames);
        samples_->get(out.subspan(block.frames, count), position);
        position += count;
        block.frames += count;
        block.end = mark.captured - inputTime(left - count);
        if (count == left) ++marksRead;
    }
    read_.store(position, std::memory_order_release);
    marksRead_.store(marksRead, std::memory_order_release);
    return block;
}

void CaptureQueue::clear() {
    const auto marksWritten = marksWritten_.load(std::memory_order_acquire);
    if (marksWritten == marksRead_.load(std::memory_order_relaxed)) return;
    read_.store(marks_[(marksWritten - 1) % kMarks].end, std::memory_order_release);
    marksRead_.store(marksWritten, std::memory_order_release);
}

BootTime CaptureQueue::newest() const noexcept {
    return BootTime{std::chrono::nanoseconds{newest_.load()}};
}

}  // namespace Velmor
