#include "Platform/Linux/TemporaryDirectory.hpp"

#include "Runtime/Text.hpp"

#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace Velmor {
namespace {

using Posix::Descriptor;

constexpr const char* kPrefix = "p-";
constexpr const char* kNewPrefix = "new-";     // until it is locked and renamed; nobody sweeps it soon
constexpr int kAttempts = 3;                   // others may sweep the base away between two steps
constexpr std::time_t kForgottenAfter = 3600;  // seconds; making a directory takes far less

std::vector<std::string> namesIn(int directory) {
    std::vector<std::string> names;
    const int copy = fcntl(directory, F_DUPFD_CLOEXEC, 0);
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(copy < 0 ? nullptr : fdopendir(copy), closedir);
    if (!stream) {
        if (copy >= 0) close(copy);
        return names;
    }
    rewinddir(stream.get());  // the copy shares its position with the original
    while (const dirent* entry = readdir(stream.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    return names;
}

// Files directly in it, then the directory itself; what is not a file stays, and the directory with it.
void removeWithFiles(int base, const std::string& name, int directory) {
    for (const auto& file : namesIn(directory)) unlinkat(directory, file.c_str(), 0);
    unlinkat(base, name.c_str(), AT_REMOVEDIR);
}

bool isForgotten(const struct stat& info) {
    return std::time(nullptr) - info.st_mtime > kForgottenAfter;
}

// Directories whose process is gone: nobody holds their lock.
void sweep(int base) {
    for (const auto& name : namesIn(base)) {
        const bool unfinished = name.starts_with(kNewPrefix);
        if (!unfinished && !name.starts_with(kPrefix)) continue;
        const auto directory = Posix::openDirectory(base, name);
        struct stat info {};
        if (!directory || fstat(directory.get(), &info) != 0 || info.st_uid != geteuid()) continue;
        if (unfinished && !isForgotten(info)) continue;
        if (flock(directory.get(), LOCK_EX | LOCK_NB) != 0) continue;
        removeWithFiles(base, name, directory.get());
    }
}

// Others may have made a directory of our name first, to read what we write or to have us write elsewhere.
Descriptor openBase(const std::string& path) {
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) throw Posix::error(path, errno);
    auto base = Posix::openDirectory(AT_FDCWD, path);
    struct stat info {};
    if (!base || fstat(base.get(), &info) != 0) throw Posix::error(path, errno);
    if (info.st_uid != geteuid())
        throw PlatformError(PlatformError::Kind::accessDenied, joined({path, ": belongs to another user"}),
                            EPERM);
    if ((info.st_mode & 077U) != 0 && fchmod(base.get(), 0700) != 0) throw Posix::error(path, errno);
    return base;
}

}  // namespace

TemporaryDirectory::TemporaryDirectory(const std::string& root)
    : base_(joined({root, "/velmor-", std::to_string(geteuid())})) {}

TemporaryDirectory::~TemporaryDirectory() {
    release();
}

std::string TemporaryDirectory::path() {
    const Lock lock(mutex_);
    if (!isOurs()) {
        release();
        make();
    }
    return joined({base_, "/", name_, "/"});
}

// A directory whose status cannot be told is kept: to give it up would leave its files to the next process.
bool TemporaryDirectory::isOurs() const {
    if (!directory_ || process_ != getpid()) return false;
    struct stat here {
    }, held{};
    if (lstat(joined({base_, "/", name_}).c_str(), &here) != 0) return errno != ENOENT && errno != ENOTDIR;
    if (fstat(directory_.get(), &held) != 0) return true;
    return here.st_dev == held.st_dev && here.st_ino == held.st_ino;
}

// Under a name that is never swept early until the lock is held, so that no sweep takes it for a dead one.
void TemporaryDirectory::make() {
    for (int attempt = 1;; ++attempt) {
        const auto base = openBase(base_);
        sweep(base.get());
        const auto random = Posix::randomName();
        const auto early = joined({kNewPrefix, random});
        const auto name = joined({kPrefix, random});
        if (mkdirat(base.get(), early.c_str(), 0700) == 0) {
            auto directory = Posix::openDirectory(base.get(), early);
            // Where directories cannot be locked nothing is ever swept, which is the safe side.
            if (directory) flock(directory.get(), LOCK_EX | LOCK_NB);
            if (directory && renameat(base.get(), early.c_str(), base.get(), name.c_str()) == 0) {
                directory_ = std::move(directory);
                name_ = name;
                process_ = getpid();
                return;
            }
        }
        const int code = errno;
        unlinkat(base.get(), early.c_str(), AT_REMOVEDIR);
        if (attempt == kAttempts) throw Posix::error(base_, code);
    }
}

void TemporaryDirectory::release() noexcept {
    if (!directory_) return;
    if (isOurs()) {
        if (const auto base = Posix::openDirectory(AT_FDCWD, base_))
            removeWithFiles(base.get(), name_, directory_.get());
        rmdir(base_.c_str());  // fails while another process uses it
    }
    directory_ = Descriptor();
}

}  // namespace Velmor
