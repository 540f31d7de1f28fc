// The few POSIX habits that all of our file code shares.
#pragma once

#include <cerrno>
#include <string>
#include <sys/types.h>
#include <utility>

#include <Velmor/Error.hpp>

namespace Velmor::Posix {

/// What `code` (an errno) means to the library, with `path` in the message.
PlatformError error(const std::string& path, int code);

/// Calls until it is not interrupted by a signal; returns what `call` returned.
template <class Call>
auto retried(Call&& call) {
    auto result = call();
    while (result < 0 && errno == EINTR) result = call();
    return result;
}

/// An open descriptor, closed when it goes away.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();

    int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }

  private:
    int number_ = -1;
};

/// A directory, not through a symbolic link at its last component. Empty on failure, errno says why.
Descriptor openDirectory(int at, const std::string& path);

/// `directory` and the missing ones above it, mode 0700. Throws PlatformError.
void makeDirectories(const std::string& directory);

/// Eight hexadecimal digits for names that nobody can foresee.
std::string randomName();

}  // namespace Velmor::Posix
