// Cuts the stream of one recording into chunk files of exactly 30 s and numbers them.
#pragma once

#include "Log/LogAPI.hpp"
#include "Recorder/ChunkFile.hpp"

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include <Velmor/Platform.hpp>

namespace Velmor {

/// Number of the chunk that ends at `end`, when recording started at `first`: the chunk that ends 30 k s
/// after the start has number k - 1. Half a period of tolerance either way, so that neither a slow start nor
/// a drifting audio clock makes a number jump.
std::int64_t chunkSequence(BootTime first, BootTime end);

class ChunkCutter {
  public:
    /// Called with each full chunk, which is removed afterwards.
    using Finished = std::function<void(const std::string& path, std::int64_t sequence)>;

    /// Makes the first two chunk files.
    ChunkCutter(const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log,
                BootTime first, Finished finished);

    /// Frames at 16 kHz, the last captured at `captured`. Returns the write error that lost them, but only
    /// the first of a chunk.
    std::exception_ptr append(std::span<const float> frames, BootTime captured);
    /// Puts silence where nothing was recorded. The chunk that the gap tears is completed; periods that lie
    /// wholly inside the gap get no chunk and no number.
    void fillGap(BootTime from, BootTime to);
    /// Of the chunk that was cut last; -1 before the first.
    std::int64_t lastNumber() const { return last_; }
    /// Calls `removed` with the path of each file. Nothing may be appended afterwards.
    void removeFiles(const std::function<void(const std::string& path)>& removed);

  private:
    ChunkFile& current();
    void rotate(std::optional<std::int64_t> sequence);
    void drop(const char* what, const std::exception_ptr& error);
    void logError(const char* what, const std::exception_ptr& error) noexcept;
    void publish(ChunkFile& chunk, std::int64_t sequence) noexcept;
    std::string chunkName(const char* suffix) const;
    std::unique_ptr<ChunkFile> makeFile(std::string name) const;

    const std::shared_ptr<const Platform> platform_;
    const std::shared_ptr<LogAPI> log_;
    const BootTime first_;
    const Finished finished_;
    // The first is the chunk being written; it is missing when its file could not be made, and `current`
    // tries again. The second is the next chunk, made ahead; it is missing while it would have the first
    // one's name, as happens when a chunk lasts less than a second.
    std::array<std::unique_ptr<ChunkFile>, 2> chunkFiles_;
    bool reported_ = false;   // whether a write error of the current chunk was returned
    std::int64_t last_ = -1;  // number given last; numbers grow
    std::int64_t lost_ = 0;   // frames of the current chunk that could not be written
};

}  // namespace Velmor
