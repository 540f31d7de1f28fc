#include "Recorder/FileChunkStore.hpp"

#include "Recorder/WaveHeader.hpp"

#include <array>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace Velmor {
namespace {

class WaveReader : public ChunkReader {
  public:
    explicit WaveReader(std::unique_ptr<File> file)
        : file_(std::move(file)),
          format_(readWaveHeader(*file_)),
          left_(static_cast<std::size_t>(format_.frames)) {}

    double sampleRate() const override { return format_.sampleRate; }
    int channelCount() const override { return format_.channelCount; }
    std::int64_t length() const override { return format_.frames; }

    std::size_t read(std::span<float> out) override {
        const auto wanted = std::as_writable_bytes(out.first(std::min(out.size(), left_)));
        std::size_t count = 0;
        while (count < wanted.size()) {
            const auto got = file_->read(wanted.subspan(count));
            if (got == 0) break;
            count += got;
        }
        left_ -= count / sizeof(float);
        return count / sizeof(float);
    }

  private:
    const std::unique_ptr<File> file_;
    const WaveFormat format_;
    std::size_t left_;  // frames; other chunks may follow them in the file
};

}  // namespace

FileChunkStore::FileChunkStore(const std::shared_ptr<const Platform>& platform) : platform_(platform) {}

std::unique_ptr<ChunkReader> FileChunkStore::openChunk(const std::string& location) {
    return std::make_unique<WaveReader>(platform_->files->open(location, FileMode::read));
}

void FileChunkStore::write(const std::string& location, std::span<const std::byte> bytes) {
    platform_->files->replace(location, bytes);
}

std::string FileChunkStore::temporaryDirectory() {
    return platform_->files->temporaryDirectory();
}

std::string FileChunkStore::mediumTime() {
    const std::tm time = platform_->device->localTime(platform_->clock->wallNow());
    const int hour = time.tm_hour % 12 == 0 ? 12 : time.tm_hour % 12;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%d:%02d:%02d %s", hour, time.tm_min, time.tm_sec,
                  time.tm_hour < 12 ? "AM" : "PM");
    return text.data();
}

}  // namespace Velmor
