#pragma once

// What Preprocessor needs from outside: finished chunks to read, a place for mel files, and the time of day
// for their names. Whoever owns a Preprocessor implements this over its files and clock.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace Velmor {

/// One open chunk file, used by one thread.
class ChunkReader {
  public:
    virtual ~ChunkReader() = default;
    virtual double sampleRate() const = 0;
    virtual int channelCount() const = 0;
    /// Length in frames.
    virtual std::int64_t length() const = 0;
    /// Reads the next frames, `out.size()` or what is left of them, and returns how many; called for one
    /// channel only. Throws on a read error.
    virtual std::size_t read(std::span<float> out) = 0;
};

/// Calls may come from any thread that converts, also from several at once. Failures are thrown, as any type
/// derived from std::exception.
class ChunkStore {
  public:
    virtual ~ChunkStore() = default;
    virtual std::unique_ptr<ChunkReader> openChunk(const std::string& location) = 0;
    /// Writes a file whole, replacing what was there.
    virtual void write(const std::string& location, std::span<const std::byte> bytes) = 0;
    /// Ends with a separator; empty when there is none.
    virtual std::string temporaryDirectory() = 0;
    /// Local time without a date, such as "3:41:07 PM"; empty when it cannot be told.
    virtual std::string mediumTime() = 0;
};

}  // namespace Velmor
