// What happened in a night, as text: hashed always, kept only when it is to be shown.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Velmor::Nights {

class Trace {
  public:
    explicit Trace(bool keeping) : keeping_(keeping) {}

    void add(std::int64_t milliseconds, std::string_view text) {
        for (const char c : text) take(static_cast<unsigned char>(c));
        for (int shift = 0; shift < 64; shift += 8)
            take(static_cast<unsigned char>((milliseconds >> shift) & 0xff));
        if (!keeping_) return;
        const auto fraction = std::to_string(1000 + milliseconds % 1000).substr(1);
        lines_.push_back(std::to_string(milliseconds / 1000) + "." + fraction + "  " + std::string(text));
    }
    std::uint64_t hash() const { return hash_; }
    const std::vector<std::string>& lines() const { return lines_; }

  private:
    // FNV-1a
    void take(unsigned char byte) { hash_ = (hash_ ^ byte) * 0x100000001b3U; }

    const bool keeping_;
    std::uint64_t hash_ = 0xcbf29ce484222325U;
    std::vector<std::string> lines_;
};

}  // namespace Velmor::Nights
