#include "Sound/FileSource.hpp"

#include "Sound/Resampler.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <sndfile.h>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace VelmorApp {
namespace {

constexpr std::size_t kBlockFrames = 16'384;
constexpr int kLowestRate = 1'000;
constexpr int kHighestRate = 768'000;
constexpr int kMostChannels = 64;

struct CloseSound {
    void operator()(SNDFILE* file) const { sf_close(file); }
};
using SoundFile = std::unique_ptr<SNDFILE, CloseSound>;

[[noreturn]] void refuse(const std::string& path, const std::string& reason) {
    throw InputError(path + ": " + reason);
}

std::string sentence(std::string text) {
    while (!text.empty() && (text.back() == '.' || text.back() == '\n')) text.pop_back();
    std::replace(text.begin(), text.end(), '\n', ' ');
    if (!text.empty() && text.front() >= 'A' && text.front() <= 'Z')
        text.front() = static_cast<char>(text.front() - 'A' + 'a');
    return text;
}

void checkReadable(const std::string& path) {
    struct stat facts {};
    if (stat(path.c_str(), &facts) != 0) refuse(path, sentence(std::strerror(errno)));
    if (S_ISDIR(facts.st_mode)) refuse(path, "is a directory");
    if (S_ISREG(facts.st_mode) && facts.st_size == 0) refuse(path, "the file is empty");
}

SoundFile open(const std::string& path, SF_INFO& info) {
    checkReadable(path);
    SoundFile file(sf_open(path.c_str(), SFM_READ, &info));
    if (file) return file;
    if (sf_error(nullptr) == SF_ERR_UNRECOGNISED_FORMAT) refuse(path, "not a sound file of a known format");
    refuse(path, "cannot be read as sound: " + sentence(sf_strerror(nullptr)));
}

// The library quietly shortens a sound whose header promises more than the file holds; only its log tells.
// Programs that write to a pipe leave the largest length in the header, which promises nothing.
bool promisesMore(SNDFILE* file) {
    std::array<char, 8192> log{};
    sf_command(file, SFC_GET_LOG_INFO, log.data(), static_cast<int>(log.size()));
    std::string_view rest = log.data();
    for (std::string_view line; !rest.empty(); rest.remove_prefix(std::min(rest.size(), line.size() + 1))) {
        line = rest.substr(0, rest.find('\n'));
        const bool sound = line.find("data ") != std::string_view::npos ||
                           line.find("SSND") != std::string_view::npos ||
                           line.find("Data Size") != std::string_view::npos;
        const bool unknown = line.find("4294967295") != std::string_view::npos ||
                             line.find("2147483647") != std::string_view::npos;
        if (sound && !unknown && line.find("should be") != std::string_view::npos) return true;
    }
    return false;
}

// Compressed formats show a missing end only when it is read.
bool lastFrameIsThere(SNDFILE* file, const SF_INFO& info) {
    if (!info.seekable || info.frames > (sf_count_t{1} << 48)) return true;
    std::vector<float> frame(static_cast<std::size_t>(info.channels));
    const bool there =
        sf_seek(file, info.frames - 1, SEEK_SET) >= 0 && sf_readf_float(file, frame.data(), 1) == 1;
    return sf_seek(file, 0, SEEK_SET) == 0 && there;
}

void check(const std::string& path, SNDFILE* file, const SF_INFO& info) {
    if (info.frames <= 0) refuse(path, "holds no sound");
    if (info.samplerate < kLowestRate || info.samplerate > kHighestRate)
        refuse(path, "has a sample rate of " + std::to_string(info.samplerate) + " Hz");
    if (info.channels < 1 || info.channels > kMostChannels)
        refuse(path, "has " + std::to_string(info.channels) + " channels");
    if (promisesMore(file) || !lastFrameIsThere(file, info))
        refuse(path, "truncated: it ends before the length that its header gives");
}

class FileSource : public SoundSource {
  public:
    FileSource(std::string path, SoundFile file, const SF_INFO& info, std::uint32_t rate)
        : path_(std::move(path)),
          file_(std::move(file)),
          info_(info),
          rate_(rate),
          resampler_(static_cast<std::uint32_t>(info.samplerate), rate),
          interleaved_(kBlockFrames * static_cast<std::size_t>(info.channels)),
          mono_(kBlockFrames) {}

    std::optional<std::uint64_t> frames() const override {
        return static_cast<std::uint64_t>(info_.frames) * rate_ /
               static_cast<std::uint32_t>(info_.samplerate);
    }

    std::size_t read(std::span<float> out) override {
        while (ready_.size() - taken_ < out.size() && !ended_) readBlock();
        const std::size_t count = std::min(out.size(), ready_.size() - taken_);
        std::copy_n(ready_.begin() + static_cast<std::ptrdiff_t>(taken_), count, out.begin());
        taken_ += count;
        return count;
    }

    std::string failure() const override {
        if (!ended_ || readFrames_ >= info_.frames) return {};
        return path_ + ": could be read for " + std::to_string(readFrames_ / info_.samplerate) + " s of " +
               std::to_string(info_.frames / info_.samplerate) + " s only";
    }

  private:
    void readBlock() {
        ready_.erase(ready_.begin(), ready_.begin() + static_cast<std::ptrdiff_t>(taken_));
        taken_ = 0;
        const sf_count_t count = sf_readf_float(file_.get(), interleaved_.data(), kBlockFrames);
        if (count <= 0) {
            ended_ = true;
            resampler_.finish(ready_);
            return;
        }
        readFrames_ += count;
        const auto frames = static_cast<std::size_t>(count);
        mix(frames);
        resampler_.process(std::span<const float>(mono_).first(frames), ready_);
    }

    void mix(std::size_t frames) {
        const auto channels = static_cast<std::size_t>(info_.channels);
        const float share = 1.0F / static_cast<float>(channels);
        for (std::size_t i = 0; i < frames; ++i) {
            float sum = 0.0F;
            for (std::size_t c = 0; c < channels; ++c) sum += interleaved_[i * channels + c];
            mono_[i] = std::isfinite(sum) ? sum * share : 0.0F;
        }
    }

    const std::string path_;
    const SoundFile file_;
    const SF_INFO info_;
    const std::uint32_t rate_;
    Resampler resampler_;
    std::vector<float> interleaved_, mono_;
    std::vector<float> ready_;  // converted; the first `taken_` of it are gone
    std::size_t taken_ = 0;
    std::int64_t readFrames_ = 0;
    bool ended_ = false;
};

}  // namespace

std::unique_ptr<SoundSource> openRecording(const std::string& path, std::uint32_t rate) {
    SF_INFO info{};
    SoundFile file = open(path, info);
    check(path, file.get(), info);
    return std::make_unique<FileSource>(path, std::move(file), info, rate);
}

}  // namespace VelmorApp
