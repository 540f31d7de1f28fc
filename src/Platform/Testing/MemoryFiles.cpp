#include "Runtime/ThreadSafety.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fnmatch.h>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include <Velmor/Testing/MemoryFiles.hpp>

namespace Velmor::Testing {
namespace {

constexpr const char* kTemporary = "/tmp/velmor/";
constexpr const char* kDocuments = "/documents/";

/// A file's content. Zeros behind the last other byte take no room, so that a night of silence costs none.
class Bytes {
  public:
    std::size_t size() const { return size_; }
    void clear() {
        head_.clear();
        size_ = 0;
    }

    std::size_t read(std::size_t from, std::span<std::byte> into) const {
        if (from >= size_) return 0;
        const auto count = std::min(into.size(), size_ - from);
        const auto kept = from < head_.size() ? std::min(count, head_.size() - from) : 0;
        if (kept > 0) std::copy_n(head_.data() + from, kept, into.begin());
        std::fill_n(into.begin() + static_cast<std::ptrdiff_t>(kept), count - kept, std::byte{0});
        return count;
    }

    void write(std::size_t from, std::span<const std::byte> bytes) {
        if (bytes.empty()) return;
        size_ = std::max(size_, from + bytes.size());
        if (from >= head_.size() && isZero(bytes)) return;
        head_.resize(std::max(head_.size(), from + bytes.size()));
        std::copy(bytes.begin(), bytes.end(), head_.data() + from);
    }

  private:
    static bool isZero(std::span<const std::byte> bytes) {
        return bytes[0] == std::byte{0} && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0;
    }

    std::vector<std::byte> head_;
    std::size_t size_ = 0;
};

int codeOf(PlatformError::Kind kind) {
    switch (kind) {
        case PlatformError::Kind::notFound:
            return ENOENT;
        case PlatformError::Kind::accessDenied:
            return EACCES;
        case PlatformError::Kind::noSpace:
            return ENOSPC;
        default:
            return EIO;
    }
}

PlatformError failure(PlatformError::Kind kind, const std::string& path) {
    const int code = codeOf(kind);
    return {kind, path + ": " + std::strerror(code), code};
}

std::string directoryOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

}  // namespace

struct MemoryFiles::Store {
    struct Line {
        Fault fault;
        std::size_t matched = 0;
    };

    /// Bytes of this operation that get through before `error` is thrown.
    struct Verdict {
        std::optional<PlatformError> error;
        std::size_t keptBytes = std::numeric_limits<std::size_t>::max();
    };

    /// Counts the operation and looks it up in the fault table. The lock is held.
    Verdict begin(Operation operation, const std::string& path) VELMOR_REQUIRES(mutex) {
        ++operations;
        Verdict verdict;
        for (auto& [fault, matched] : faults) {
            if (fault.operation.value_or(operation) != operation) continue;
            if (fnmatch(fault.path.c_str(), path.c_str(), 0) != 0) continue;
            ++matched;
            const bool hit = fault.fromThenOn ? matched >= fault.nth : matched == fault.nth;
            if (hit && !verdict.error) verdict = {failure(fault.kind, path), fault.keptBytes};
        }
        return verdict;
    }

    void check(Operation operation, const std::string& path) VELMOR_REQUIRES(mutex) {
        const auto verdict = begin(operation, path);
        if (verdict.error) throw PlatformError(*verdict.error);
    }

    std::shared_ptr<Bytes> find(const std::string& path) const VELMOR_REQUIRES(mutex) {
        const auto found = files.find(path);
        return found == files.end() ? nullptr : found->second;
    }

    std::shared_ptr<Bytes> make(const std::string& path) VELMOR_REQUIRES(mutex) {
        if (!directories.contains(directoryOf(path))) throw failure(PlatformError::Kind::notFound, path);
        auto& file = files[path];
        file = std::make_shared<Bytes>();
        return file;
    }

    std::string makeDirectory(Operation operation, const std::string& path) {
        const Lock lock(mutex);
        check(operation, path);
        const auto asFile = path.substr(0, path.size() - 1);
        if (files.contains(asFile))
            throw PlatformError(PlatformError::Kind::io, asFile + ": " + std::strerror(ENOTDIR), ENOTDIR);
        directories.insert(path);
        return path;
    }

    mutable Mutex mutex;  // guards all below, and the bytes of every file
    std::map<std::string, std::shared_ptr<Bytes>> files VELMOR_GUARDED_BY(mutex);
    std::set<std::string> directories VELMOR_GUARDED_BY(mutex);  // each ends with a slash
    std::vector<Line> faults VELMOR_GUARDED_BY(mutex);
    std::size_t operations VELMOR_GUARDED_BY(mutex) = 0;
    std::size_t openFiles VELMOR_GUARDED_BY(mutex) = 0;
};

class MemoryFiles::Handle : public File {
  public:
    Handle(std::shared_ptr<Store> store, std::string path, std::shared_ptr<Bytes> bytes, bool writable)
        : store_(std::move(store)), path_(std::move(path)), bytes_(std::move(bytes)), writable_(writable) {
        ++store_->openFiles;  // the opener holds the lock
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() override {
        const Lock lock(store_->mutex);
        --store_->openFiles;
    }

    std::size_t read(std::span<std::byte> into) override {
        const Lock lock(store_->mutex);
        store_->check(Operation::read, path_);
        const auto count = bytes_->read(position_, into);
        position_ += count;
        return count;
    }

    void write(std::span<const std::byte> bytes) override {
        const Lock lock(store_->mutex);
        if (!writable_) throw PlatformError(PlatformError::Kind::io, path_ + ": not open for writing", EBADF);
        const auto verdict = store_->begin(Operation::write, path_);
        const auto kept = bytes.first(std::min(bytes.size(), verdict.keptBytes));
        bytes_->write(position_, kept);
        position_ += kept.size();
        if (verdict.error) throw PlatformError(*verdict.error);
    }

    void seek(std::uint64_t offset) override {
        const Lock lock(store_->mutex);
        store_->check(Operation::seek, path_);
        position_ = static_cast<std::size_t>(offset);
    }

    std::uint64_t size() override {
        const Lock lock(store_->mutex);
        store_->check(Operation::fileSize, path_);
        return bytes_->size();
    }

  private:
    const std::shared_ptr<Store> store_;
    const std::string path_;
    const std::shared_ptr<Bytes> bytes_;
    const bool writable_;
    std::size_t position_ = 0;
};

MemoryFiles::MemoryFiles() : store_(std::make_shared<Store>()) {}

MemoryFiles::~MemoryFiles() = default;

std::unique_ptr<File> MemoryFiles::open(const std::string& path, FileMode mode) {
    const Lock lock(store_->mutex);
    store_->check(Operation::open, path);
    auto bytes = store_->find(path);
    if (bytes && mode == FileMode::create) bytes->clear();
    if (!bytes && mode == FileMode::create) bytes = store_->make(path);
    if (!bytes) throw failure(PlatformError::Kind::notFound, path);
    return std::make_unique<Handle>(store_, path, std::move(bytes), mode != FileMode::read);
}

std::optional<std::uint64_t> MemoryFiles::size(const std::string& path) {
    const Lock lock(store_->mutex);
    const auto bytes = store_->find(path);
    if (store_->begin(Operation::size, path).error || !bytes) return {};
    return bytes->size();
}

void MemoryFiles::remove(const std::string& path) {
    const Lock lock(store_->mutex);
    store_->check(Operation::remove, path);
    if (store_->files.erase(path) == 0) throw failure(PlatformError::Kind::notFound, path);
}

void MemoryFiles::replace(const std::string& path, std::span<const std::byte> bytes) {
    const Lock lock(store_->mutex);
    store_->check(Operation::replace, path);
    store_->make(path)->write(0, bytes);
}

std::vector<std::string> MemoryFiles::list(const std::string& directory) {
    const auto prefix = directory.ends_with('/') ? directory : directory + '/';
    const Lock lock(store_->mutex);
    store_->check(Operation::list, directory);
    if (!store_->directories.contains(prefix)) throw failure(PlatformError::Kind::notFound, directory);
    std::vector<std::string> names;
    for (const auto& [path, bytes] : store_->files)
        if (directoryOf(path) == prefix) names.push_back(path.substr(prefix.size()));
    return names;
}

std::string MemoryFiles::temporaryDirectory() {
    return store_->makeDirectory(Operation::temporaryDirectory, kTemporary);
}

std::string MemoryFiles::documentsDirectory() {
    return store_->makeDirectory(Operation::documentsDirectory, kDocuments);
}

void MemoryFiles::addFault(Fault fault) {
    const Lock lock(store_->mutex);
    store_->faults.push_back({std::move(fault), 0});
}

void MemoryFiles::clearFaults() {
    const Lock lock(store_->mutex);
    store_->faults.clear();
}

std::size_t MemoryFiles::operationCount() const {
    const Lock lock(store_->mutex);
    return store_->operations;
}

std::vector<std::string> MemoryFiles::paths() const {
    const Lock lock(store_->mutex);
    std::vector<std::string> paths;
    for (const auto& [path, bytes] : store_->files) paths.push_back(path);
    return paths;
}

std::optional<std::string> MemoryFiles::contents(const std::string& path) const {
    const Lock lock(store_->mutex);
    const auto bytes = store_->find(path);
    if (!bytes) return {};
    std::string text(bytes->size(), '\0');
    bytes->read(0, std::as_writable_bytes(std::span(text)));
    return text;
}

void MemoryFiles::put(const std::string& path, std::string_view bytes) {
    const auto source = std::as_bytes(std::span(bytes));
    const Lock lock(store_->mutex);
    store_->directories.insert(directoryOf(path));
    store_->make(path)->write(0, source);
}

void MemoryFiles::removeDirectory(const std::string& directory) {
    const Lock lock(store_->mutex);
    std::erase_if(store_->files, [&](const auto& file) { return file.first.starts_with(directory); });
    std::erase_if(store_->directories, [&](const auto& name) { return name.starts_with(directory); });
}

std::size_t MemoryFiles::openFiles() const {
    const Lock lock(store_->mutex);
    return store_->openFiles;
}

}  // namespace Velmor::Testing
