/// Files and the two directories that the library writes to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <Velmor/Error.hpp>
#include <Velmor/Export.hpp>

namespace Velmor {

/// An open file; one thread at a time. Every operation throws PlatformError on failure.
class File {
  public:
    /// Closes, ignoring failure.
    virtual ~File() = default;
    /// At most `into.size()` bytes from the current position; fewer only at the end. Returns how many.
    virtual std::size_t read(std::span<std::byte> into) = 0;
    /// All of `bytes` at the current position.
    virtual void write(std::span<const std::byte> bytes) = 0;
    /// From the start of the file.
    virtual void seek(std::uint64_t offset) = 0;
    virtual std::uint64_t size() = 0;
};

enum class FileMode {
    read,     ///< an existing file, for reading
    create,   ///< made new, or emptied when it exists; for writing and reading
    existing  ///< an existing file, for writing and reading, from its start
};

/// Operations may be called on any thread. No symbolic link is followed at the last component of a path.
class FileSystem {
  public:
    virtual ~FileSystem() = default;
    /// Throws PlatformError.
    virtual std::unique_ptr<File> open(const std::string& path, FileMode mode) = 0;
    /// Of a regular file in bytes; none when there is none or it cannot be told.
    virtual std::optional<std::uint64_t> size(const std::string& path) = 0;
    /// A file. Throws PlatformError, kind `notFound` when there is none.
    virtual void remove(const std::string& path) = 0;
    /// Writes the whole file such that a reader sees the old content or the new. Throws PlatformError.
    virtual void replace(const std::string& path, std::span<const std::byte> bytes) = 0;
    /// Names (not paths) of the files in a directory, sorted. Throws PlatformError.
    virtual std::vector<std::string> list(const std::string& directory) = 0;
    /// Private to this process, made on demand, ends with a slash. Throws PlatformError.
    virtual std::string temporaryDirectory() = 0;
    /// Kept between runs, made on demand, ends with a slash. Throws PlatformError.
    virtual std::string documentsDirectory() = 0;
};

struct FileOptions {
    std::string documentsDirectory;  ///< empty for the system's place for an application's data
    std::string temporaryRoot;       ///< empty for the system's temporary directory
};

/// The system's own files. Directories are made with mode 0700, files with 0600.
VELMOR_API std::shared_ptr<FileSystem> makeFileSystem(FileOptions options = {});

}  // namespace Velmor
