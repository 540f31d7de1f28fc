#include "WatchedFiles.hpp"

namespace Velmor::Nights {

// Whatever fails is counted; a line of the log that was not seen because of it is allowed for.
template <class Operation>
auto WatchedFiles::watch(const std::string& path, Operation operation) {
    try {
        return operation();
    } catch (const PlatformError& error) {
        if (error.kind() == PlatformError::Kind::notFound) throw;
        ledger_.note(std::string("file fault: ") + error.what());
        ++(path.starts_with("/documents/") ? documentsFaults_ : temporaryFaults_);
        throw;
    }
}

class WatchedFiles::Handle : public File {
  public:
    Handle(WatchedFiles& owner, std::string path, std::unique_ptr<File> inner)
        : owner_(owner), path_(std::move(path)), inner_(std::move(inner)) {}

    std::size_t read(std::span<std::byte> into) override {
        std::size_t count = 0;
        unseen([&] { count = inner_->read(into); });
        return count;
    }
    void write(std::span<const std::byte> bytes) override {
        owner_.logged(path_, bytes);
        try {
            owner_.watch(path_, [&] { inner_->write(bytes); });
        } catch (...) {
            if (path_.ends_with("/VelmorSDK.log")) owner_.ledger_.logLineTorn();
            throw;
        }
    }
    void seek(std::uint64_t offset) override {
        unseen([&] { inner_->seek(offset); });
    }
    std::uint64_t size() override {
        std::uint64_t size = 0;
        unseen([&] { size = inner_->size(); });
        return size;
    }

  private:
    template <class Operation>
    void unseen(Operation operation) {
        try {
            owner_.watch(path_, operation);
        } catch (...) {
            if (path_.starts_with("/documents/")) owner_.ledger_.logLineUnseen();
            throw;
        }
    }

    WatchedFiles& owner_;
    const std::string path_;
    const std::unique_ptr<File> inner_;
};

void WatchedFiles::logged(const std::string& path, std::span<const std::byte> bytes) {
    if (!path.ends_with("/VelmorSDK.log")) return;
    std::string line(bytes.size(), '\0');
    std::copy(bytes.begin(), bytes.end(), std::as_writable_bytes(std::span(line)).begin());
    // with a line end before it when it closes a torn line
    const auto before = line.size() < 2 ? line.npos : line.rfind('\n', line.size() - 2);
    ledger_.logLine(before == line.npos ? line : line.substr(before + 1));
}

std::unique_ptr<File> WatchedFiles::open(const std::string& path, FileMode mode) {
    return watch(path, [&] { return std::make_unique<Handle>(*this, path, files_->open(path, mode)); });
}

void WatchedFiles::remove(const std::string& path) {
    watch(path, [&] { files_->remove(path); });
}

void WatchedFiles::replace(const std::string& path, std::span<const std::byte> bytes) {
    logged(path, bytes);
    watch(path, [&] { files_->replace(path, bytes); });
}

std::vector<std::string> WatchedFiles::list(const std::string& directory) {
    return watch(directory, [&] { return files_->list(directory); });
}

std::string WatchedFiles::temporaryDirectory() {
    return watch("/tmp/", [&] { return files_->temporaryDirectory(); });
}

std::string WatchedFiles::documentsDirectory() {
    try {
        return watch("/documents/", [&] { return files_->documentsDirectory(); });
    } catch (...) {
        ledger_.logLineUnseen();
        throw;
    }
}

}  // namespace Velmor::Nights
