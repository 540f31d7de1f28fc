// What a target reads its bytes with, and how it says that a property does not hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace Velmor::Fuzz {

/// Taken from the front; zeros and empty texts when nothing is left.
class Input {
  public:
    explicit Input(std::string_view bytes) : rest_(bytes) {}

    bool empty() const { return rest_.empty(); }
    std::string rest() const { return std::string(rest_); }
    /// Big-endian.
    std::int64_t number(std::size_t bytes) {
        std::uint64_t value = 0;
        for (; bytes > 0; --bytes) {
            value = value << 8U | (empty() ? 0U : static_cast<std::uint8_t>(rest_.front()));
            rest_.remove_prefix(empty() ? 0 : 1);
        }
        return static_cast<std::int64_t>(value);
    }
    /// From 0 to `count` - 1; the letter 'a' is the first, so that inputs can be written by hand.
    std::size_t choice(std::size_t count) { return static_cast<std::uint8_t>(number(1) - 'a') % count; }
    /// Up to the next byte 0xFF, which is no part of any text.
    std::string text() {
        const auto end = rest_.find('\xFF');
        std::string out(rest_.substr(0, end));
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
        return out;
    }

  private:
    std::string_view rest_;
};

inline void require(bool holds, const char* property, const std::string& detail = {}) {
    if (holds) return;
    std::fprintf(stderr, "BROKEN: %s: %.300s\n", property, detail.c_str());
    std::abort();
}

/// The target: each file defines it.
void run(Input input);

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
    run(Input({data, size}));
    return 0;
}

}  // namespace Velmor::Fuzz
