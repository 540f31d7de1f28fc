#pragma once

#include <chrono>
#include <unistd.h>

namespace VelmorService {

/// Owns one file descriptor; closed once, at the end.
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.descriptor_) {
        other.descriptor_ = -1;
    }
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            close();
            descriptor_ = other.descriptor_;
            other.descriptor_ = -1;
        }
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { close(); }

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    void close() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
        descriptor_ = -1;
    }

  private:
    int descriptor_ = -1;
};

/// Ends every wait of a server at once. Raised from any thread, never lowered; each wait of the server polls
/// `descriptor()` beside what it waits for, so that a stop never has to sit out a time-out.
class StopSignal {
  public:
    StopSignal();

    void raise();
    bool raised() const { return pause(std::chrono::milliseconds(0)); }
    /// Waits for the whole time and returns false, or returns true as soon as the signal is raised.
    bool pause(std::chrono::milliseconds time) const;
    int descriptor() const { return event_.get(); }

  private:
    FileDescriptor event_;
};

}  // namespace VelmorService
