#include "Platform/Linux/Posix.hpp"

#include "Runtime/Text.hpp"

#include <array>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Velmor::Posix {
namespace {

PlatformError::Kind kindOf(int code) {
    switch (code) {
        case ENOENT:
            return PlatformError::Kind::notFound;
        case EACCES:
        case EPERM:
        case EROFS:
        case ELOOP:
            return PlatformError::Kind::accessDenied;
        case ENOSPC:
        case EDQUOT:
            return PlatformError::Kind::noSpace;
        default:
            return PlatformError::Kind::io;
    }
}

}  // namespace

PlatformError error(const std::string& path, int code) {
    return {kindOf(code), joined({path, ": ", std::generic_category().message(code)}), code};
}

Descriptor::~Descriptor() {
    if (number_ >= 0) close(number_);
}

Descriptor openDirectory(int at, const std::string& path) {
    return Descriptor(
        retried([&] { return openat(at, path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); }));
}

void makeDirectories(const std::string& directory) {
    const auto isDirectory = [](const std::string& path) {
        struct stat info {};
        return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    };
    if (isDirectory(directory)) return;
    for (std::size_t slash = directory.find('/', 1);; slash = directory.find('/', slash + 1)) {
        const auto part = directory.substr(0, slash);
        // Another thread may make it between the two calls, and a read-only one on the way exists already.
        if (!isDirectory(part) && mkdir(part.c_str(), 0700) != 0) {
            const int code = errno;
            if (!isDirectory(part)) throw error(part, code == EEXIST ? ENOTDIR : code);
        }
        if (slash == std::string::npos) return;
    }
}

std::string randomName() {
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "%08x", static_cast<unsigned>(std::random_device{}()));
    return text.data();
}

}  // namespace Velmor::Posix
