#include "Recorder/ChunkFile.hpp"

#include "Recorder/AudioConstants.hpp"
#include "Recorder/WaveHeader.hpp"
#include "Runtime/Text.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

#include <Velmor/Error.hpp>

namespace Velmor {
namespace {

Mutex mutex;

// Paths of the process's open chunk files: two recordings may begin in the same second, and neither must take
// the other's file.
std::set<std::string>& claimed() VELMOR_REQUIRES(mutex) {
    static auto* paths = new std::set<std::string>;  // a recording may end while the process exits
    return *paths;
}

}  // namespace

struct ChunkFile::Claim {
    Claim(const std::string& directory, const std::string& name) : path(joined({directory, name})) {
        const Lock lock(mutex);
        for (int i = 2; !claimed().insert(path).second; ++i)
            path = joined({directory, std::string_view(name).substr(0, name.rfind('.')), "-",
                           std::to_string(i), ".pcm"});
    }
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;
    ~Claim() {
        const Lock lock(mutex);
        claimed().erase(path);
    }

    std::string path;
};

ChunkFile::ChunkFile(const std::shared_ptr<FileSystem>& files, std::string name)
    : files_(files), name_(std::move(name)) {
    try {
        open();
    } catch (const PlatformError&) {  // the first write will try again, and its failure is reported
    }
}

ChunkFile::~ChunkFile() {
    if (!removed_) remove();
}

void ChunkFile::open() {
    claim_.reset();
    claim_ = std::make_unique<Claim>(files_->temporaryDirectory(), name_);
    path_ = claim_->path;
    removeFile();  // emptying it would take the bytes from whoever has it open
    file_ = files_->open(path_, FileMode::create);
    displaced_ = true;
}

void ChunkFile::writeHeader() {
    file_->seek(0);
    file_->write(waveHeader({kChunkRate, 1, length_}));
}

void ChunkFile::append(std::span<const float> frames) {
    if (frames.empty()) return;
    if (!file_) open();
    if (displaced_) {
        writeHeader();
        file_->seek(kWaveHeaderBytes + static_cast<std::uint64_t>(length_) * sizeof(float));
    }
    displaced_ = true;
    file_->write(std::as_bytes(frames));
    displaced_ = false;
    length_ += static_cast<std::int64_t>(frames.size());
}

void ChunkFile::appendSilence(std::int64_t frames) {
    const std::array<float, kChunkRate / 10> silence{};
    while (frames > 0) {
        const auto count = std::min<std::int64_t>(frames, std::ssize(silence));
        append(std::span(silence).first(static_cast<std::size_t>(count)));
        frames -= count;
    }
}

void ChunkFile::finish() {
    if (!file_) open();
    displaced_ = true;
    writeHeader();
    file_.reset();
}

bool ChunkFile::remove() noexcept {
    removed_ = true;
    const bool removed = removeFile();
    claim_.reset();
    return removed;
}

bool ChunkFile::removeFile() noexcept {
    file_.reset();
    if (path_.empty()) return false;
    try {
        files_->remove(path_);
        return true;
    } catch (...) {  // mostly because there is none
        return false;
    }
}

}  // namespace Velmor
