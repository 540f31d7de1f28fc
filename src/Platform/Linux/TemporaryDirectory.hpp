// The directory for files that do not outlive the process: ROOT/velmor-UID/p-XXXXXXXX/, locked as long as its
// process lives, so that the next process can tell what a dead one left.
#pragma once

#include "Platform/Linux/Posix.hpp"

#include <mutex>
#include <string>

namespace Velmor {

/// Any thread. Removes its directory with the files in it when it goes away.
class TemporaryDirectory {
  public:
    explicit TemporaryDirectory(std::string root);
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    /// Ends with a slash. Made when it is asked for first, and again when it has vanished or when the process
    /// has been forked. Throws PlatformError.
    std::string path();

  private:
    bool isOurs() const;
    void make();
    void release() noexcept;

    const std::string base_;  // ROOT/velmor-UID
    std::mutex mutex_;        // guards all below
    std::string name_;
    Posix::Descriptor directory_;  // holds the lock
    pid_t process_ = 0;
};

}  // namespace Velmor
