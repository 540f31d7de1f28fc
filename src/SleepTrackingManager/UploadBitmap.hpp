// Which chunks of a session the server confirmed, as the log shows it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Velmor {

/// Pages of 120 entries, 1 for confirmed and 0 for missing. A full page is written out and the next begun.
class UploadBitmap {
  public:
    static constexpr std::int64_t logMaxSize = 120;
    static constexpr std::int64_t logUnitSize = 10;

    /// `write` takes one line: the number of the page's first entry, then its digits in groups of ten.
    explicit UploadBitmap(std::function<void(const std::string&)> write);

    void mark(std::int64_t sequence);
    /// Writes out what the page holds, if anything, and starts again at sequence 0.
    void finish();

  private:
    void writeOut();
    std::string line() const;

    std::function<void(const std::string&)> write_;
    std::vector<std::int64_t> logAudioBuffer_;
    std::int64_t logCounter_ = 0;  // place in the page of the last confirmed sequence
    std::int64_t startIndex_ = 0;
};

}  // namespace Velmor
