#include "Platform/Linux/Posix.hpp"
#include "Platform/Linux/TemporaryDirectory.hpp"
#include "Runtime/Text.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

#include <Velmor/Platform/Files.hpp>

namespace Velmor {
namespace {

using Posix::Descriptor;

constexpr std::string_view kUnfinished =
    ".velmor-new";                           // ending of a file that `replace` has not renamed yet
constexpr std::time_t kForgottenAfter = 60;  // seconds; writing one takes far less

class PosixFile : public File {
  public:
    PosixFile(Descriptor descriptor, std::string path)
        : descriptor_(std::move(descriptor)), path_(std::move(path)) {}

    std::size_t read(std::span<std::byte> into) override {
        std::size_t done = 0;
        while (done < into.size()) {
            const auto count = Posix::retried(
                [&] { return ::read(descriptor_.get(), into.data() + done, into.size() - done); });
            if (count < 0) throw Posix::error(path_, errno);
            if (count == 0) break;
            done += static_cast<std::size_t>(count);
        }
        return done;
    }

    void write(std::span<const std::byte> bytes) override {
        while (!bytes.empty()) {
            const auto count =
                Posix::retried([&] { return ::write(descriptor_.get(), bytes.data(), bytes.size()); });
            if (count < 0) throw Posix::error(path_, errno);
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        }
    }

    void seek(std::uint64_t offset) override {
        if (lseek(descriptor_.get(), static_cast<off_t>(offset), SEEK_SET) < 0)
            throw Posix::error(path_, errno);
    }

    std::uint64_t size() override {
        struct stat info {};
        if (fstat(descriptor_.get(), &info) != 0) throw Posix::error(path_, errno);
        return static_cast<std::uint64_t>(info.st_size);
    }

    void flush() {
        if (Posix::retried([&] { return fdatasync(descriptor_.get()); }) != 0)
            throw Posix::error(path_, errno);
    }

  private:
    Descriptor descriptor_;
    std::string path_;
};

// Neither a symbolic link nor a pipe, a device or a directory that somebody put there. Truncated only after
// that is certain.
PosixFile openRegular(const std::string& path, int flags) {
    const bool truncate = (flags & O_TRUNC) != 0;
    const int safe = (flags & ~O_TRUNC) | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    Descriptor descriptor(Posix::retried([&] { return open(path.c_str(), safe, 0600); }));
    if (!descriptor) throw Posix::error(path, errno);
    struct stat info {};
    if (fstat(descriptor.get(), &info) != 0) throw Posix::error(path, errno);
    if (!S_ISREG(info.st_mode))
        throw PlatformError(PlatformError::Kind::accessDenied, joined({path, ": not a regular file"}));
    if (truncate && Posix::retried([&] { return ftruncate(descriptor.get(), 0); }) != 0)
        throw Posix::error(path, errno);
    return {std::move(descriptor), path};
}

int flagsOf(FileMode mode) {
    switch (mode) {
        case FileMode::read:
            return O_RDONLY;
        case FileMode::create:
            return O_RDWR | O_CREAT | O_TRUNC;
        case FileMode::existing:
            break;
    }
    return O_RDWR;
}

std::string homeDirectory() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') return home;
    std::array<char, 4096> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr)
        return found->pw_dir;
    return {};
}

std::string withSlash(std::string directory) {
    if (!directory.ends_with('/')) directory.push_back('/');
    return directory;
}

// Empty when this user has no place for data at all.
std::string systemDocuments() {
    if (const char* data = std::getenv("XDG_DATA_HOME"); data != nullptr && *data == '/')
        return joined({withSlash(data), "velmor/"});
    const auto home = homeDirectory();
    return home.empty() ? home : joined({withSlash(home), ".local/share/velmor/"});
}

std::string systemTemporary() {
    const char* place = std::getenv("TMPDIR");
    return place != nullptr && *place == '/' ? place : "/tmp";
}

using Stream = std::unique_ptr<DIR, int (*)(DIR*)>;

Stream openStream(const std::string& directory) {
    DIR* stream = opendir(directory.c_str());
    while (stream == nullptr && errno == EINTR) stream = opendir(directory.c_str());
    if (stream == nullptr) throw Posix::error(directory, errno);
    return {stream, closedir};
}

// Null at the end only.
const dirent* next(DIR& stream, const std::string& directory) {
    errno = 0;
    const dirent* entry = readdir(&stream);
    if (entry == nullptr && errno != 0) throw Posix::error(directory, errno);
    return entry;
}

class PosixFiles : public FileSystem {
  public:
    explicit PosixFiles(FileOptions options)
        : temporary_(options.temporaryRoot.empty() ? systemTemporary() : options.temporaryRoot),
          documents_(options.documentsDirectory.empty() ? systemDocuments()
                                                        : withSlash(std::move(options.documentsDirectory))) {}

    std::unique_ptr<File> open(const std::string& path, FileMode mode) override {
        return std::make_unique<PosixFile>(openRegular(path, flagsOf(mode)));
    }

    std::optional<std::uint64_t> size(const std::string& path) override {
        struct stat info {};
        if (lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return {};
        return static_cast<std::uint64_t>(info.st_size);
    }

    void remove(const std::string& path) override {
        if (unlink(path.c_str()) != 0) throw Posix::error(path, errno);
    }

    void replace(const std::string& path, std::span<const std::byte> bytes) override {
        const auto unfinished = joined({path, ".", Posix::randomName(), kUnfinished});
        try {
            auto file = openRegular(unfinished, O_WRONLY | O_CREAT | O_EXCL);
            file.write(bytes);
            file.flush();
            if (rename(unfinished.c_str(), path.c_str()) != 0) throw Posix::error(path, errno);
        } catch (...) {
            unlink(unfinished.c_str());
            throw;
        }
    }

    std::vector<std::string> list(const std::string& directory) override {
        const auto stream = openStream(directory);
        std::set<std::string> names;
        while (const dirent* entry = next(*stream, directory)) {
            struct stat info {};
            if (fstatat(dirfd(stream.get()), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                S_ISREG(info.st_mode))
                names.insert(entry->d_name);
        }
        return {names.begin(), names.end()};
    }

    std::string temporaryDirectory() override { return temporary_.path(); }

    std::string documentsDirectory() override {
        if (documents_.empty())
            throw PlatformError(PlatformError::Kind::notFound, "this user has no home directory");
        Posix::makeDirectories(documents_.substr(0, documents_.size() - 1));
        if (swept_.exchange(true)) return documents_;
        try {
            sweepUnfinished();
        } catch (...) {  // the next process will try again
        }
        return documents_;
    }

  private:
    // What a process that was killed inside `replace` left.
    void sweepUnfinished() {
        for (const auto& name : list(documents_)) {
            struct stat info {};
            const auto path = joined({documents_, name});
            if (name.ends_with(kUnfinished) && lstat(path.c_str(), &info) == 0 && info.st_uid == geteuid() &&
                std::time(nullptr) - info.st_mtime > kForgottenAfter)
                unlink(path.c_str());
        }
    }

    TemporaryDirectory temporary_;
    const std::string documents_;
    std::atomic<bool> swept_{false};
};

}  // namespace

std::shared_ptr<FileSystem> makeFileSystem(FileOptions options) {
    return std::make_shared<PosixFiles>(std::move(options));
}

}  // namespace Velmor
