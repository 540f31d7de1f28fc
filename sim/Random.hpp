// Numbers that depend on a seed and nothing else, on every machine.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Velmor::Nights {

class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {
        state_ = next() ^ (seed << 32U);  // neighbouring seeds would share a stream, one step apart
    }

    // SplitMix64 (Steele, Lea and Flood, 2014).
    std::uint64_t next() {
        state_ += 0x9e3779b97f4a7c15U;
        std::uint64_t mixed = state_;
        mixed = (mixed ^ (mixed >> 30U)) * 0xbf58476d1ce4e5b9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94d049bb133111ebU;
        return mixed ^ (mixed >> 31U);
    }
    /// From 0 to `count` - 1; 0 for none.
    std::int64_t below(std::int64_t count) {
        if (count <= 0) return 0;
        return static_cast<std::int64_t>(next() % static_cast<std::uint64_t>(count));
    }
    bool chance(std::int64_t percent) { return below(100) < percent; }
    template <class T, std::size_t N>
    const T& of(const std::array<T, N>& values) {
        return values[static_cast<std::size_t>(below(static_cast<std::int64_t>(N)))];
    }

  private:
    std::uint64_t state_;
};

}  // namespace Velmor::Nights
