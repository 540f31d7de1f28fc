// The directory for files that do not outlive the process: ROOT/velmor-UID/p-XXXXXXXX/, locked as long as its
// process lives, so that the next process can tell what a dead one left.
#pragma once

#include "Platform/Linux/Posix.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <string>

namespace Velmor {

/// Any thread. Removes its directory with the files in it when it goes away.
class TemporaryDirectory {
  public:
    explicit TemporaryDirectory(const std::string& root);
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    /// Ends with a slash. Made when it is asked for first, and again when it has vanished or when the process
    /// has been forked. Throws PlatformError.
    std::string path();

  private:
    bool isOurs() const VELMOR_REQUIRES(mutex_);
    void make() VELMOR_REQUIRES(mutex_);
    void release() noexcept VELMOR_REQUIRES(mutex_);

    const std::string base_;  // ROOT/velmor-UID
    Mutex mutex_;             // guards all below
    std::string name_ VELMOR_GUARDED_BY(mutex_);
    Posix::Descriptor directory_ VELMOR_GUARDED_BY(mutex_);  // holds the lock
    pid_t process_ VELMOR_GUARDED_BY(mutex_) = 0;
};

}  // namespace Velmor
