// Chunk files: RIFF/WAVE, 32-bit float, 16 kHz, mono.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include <Velmor/Platform/Files.hpp>

namespace Velmor {

/// One chunk being written. It opens its file on construction and, when that fails, again at each write, so
/// that it comes into being as soon as there is room for it. Operations throw PlatformError. The file stays
/// until `remove`.
class ChunkFile {
  public:
    /// `name` is the file's name in the temporary directory; a number is put behind it while another
    /// recording of the process uses it. Any other file of that name is put out of the way.
    ChunkFile(const std::shared_ptr<FileSystem>& files, std::string name);
    /// Removes the file unless that was done.
    ~ChunkFile();
    ChunkFile(const ChunkFile&) = delete;
    ChunkFile& operator=(const ChunkFile&) = delete;

    /// All of the frames, or, when it throws, none: the next write takes the place of a half-written one.
    void append(std::span<const float> frames);
    void appendSilence(std::int64_t frames);
    /// Writes the lengths into the header and closes the file.
    void finish();
    /// False when there was nothing to remove. Does not throw.
    bool remove() noexcept;

    std::int64_t length() const noexcept { return length_; }  ///< frames
    const std::string& name() const noexcept { return name_; }
    const std::string& path() const noexcept { return path_; }  ///< empty until the file could be opened

  private:
    struct Claim;

    void open();
    bool removeFile() noexcept;
    void writeHeader();

    const std::shared_ptr<FileSystem> files_;
    const std::string name_;
    std::unique_ptr<Claim> claim_;  // to the path, against other recordings
    std::string path_;
    std::unique_ptr<File> file_;
    std::int64_t length_ = 0;
    bool removed_ = false;    // for good: a file that has its name now is another's
    bool displaced_ = false;  // the position is not behind the last whole frame
};

}  // namespace Velmor
