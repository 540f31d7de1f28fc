/// Files in memory that fail when told to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <Velmor/Platform/Files.hpp>

namespace Velmor::Testing {

/// Behaves as the system's files do: an open file stays readable and writable after it was removed, and a
/// file can be made only in a directory that exists. The temporary directory is "/tmp/velmor/", the
/// documents directory "/documents/"; both are made when they are asked for. Any thread.
class MemoryFiles : public FileSystem {
  public:
    enum class Operation {
        open,
        read,  ///< of an open file, as the next three
        write,
        seek,
        fileSize,
        size,  ///< by path; cannot throw, so a fault makes it tell nothing
        remove,
        replace,
        list,
        temporaryDirectory,
        documentsDirectory
    };

    /// One line of the fault table. It counts the operations that it matches, from the moment it is added.
    struct Fault {
        std::optional<Operation> operation = {};  ///< none: any
        std::string path = "*";   ///< shell pattern for the whole path; `*` matches slashes too
        std::size_t nth = 1;      ///< the first to fail, from 1
        bool fromThenOn = false;  ///< and all that follow it
        PlatformError::Kind kind = PlatformError::Kind::io;
        std::size_t keptBytes = 0;  ///< of a failing write: as many bytes as this get through
    };

    MemoryFiles();
    ~MemoryFiles() override;

    std::unique_ptr<File> open(const std::string& path, FileMode mode) override;
    std::optional<std::uint64_t> size(const std::string& path) override;
    void remove(const std::string& path) override;
    void replace(const std::string& path, std::span<const std::byte> bytes) override;
    std::vector<std::string> list(const std::string& directory) override;
    std::string temporaryDirectory() override;
    std::string documentsDirectory() override;

    void addFault(Fault fault);
    void clearFaults();
    /// Operations so far, failed ones included. A sweep runs a scene once to count, then once per operation
    /// with `addFault({.nth = n})`.
    std::size_t operationCount() const;

    /// Paths of all files, sorted.
    std::vector<std::string> paths() const;
    std::optional<std::string> contents(const std::string& path) const;
    /// Makes a file as another program would: counted by nobody, refused by no fault.
    void put(const std::string& path, std::string_view bytes);
    /// Removes a directory and all in it, as a system's cleaner does. It ends with a slash.
    void removeDirectory(const std::string& directory);
    /// Files that are open at this moment.
    std::size_t openFiles() const;

  private:
    struct Store;
    class Handle;
    const std::shared_ptr<Store> store_;  // open files hold it too
};

}  // namespace Velmor::Testing
