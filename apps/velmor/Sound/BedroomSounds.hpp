// The bedroom's library of sounds, made once for a seed. Playing a night from stretches of it costs a
// nanosecond a sample, where filtering each sample afresh would cost ten.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace VelmorApp {

/// A small generator with a 64-bit state (a counter behind a mixing function): the same on every machine,
/// unlike the distributions of the standard library.
class Dice {
  public:
    explicit Dice(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next();
    /// Evenly in [low, high).
    double between(double low, double high);
    /// 0 to count - 1.
    std::size_t below(std::size_t count);
    /// Close to a normal distribution, mean 0, deviation 1.
    float noise();

  private:
    std::uint64_t state_;
};

using Samples = std::vector<float>;

struct BedroomSounds {
    explicit BedroomSounds(std::uint64_t seed);

    /// Room noise is the sum of two loops whose lengths have no common factor: it repeats after a hundred
    /// hours.
    Samples roomLong, roomShort;
    Samples hum;     ///< one period of the mains
    Samples breath;  ///< air through the nose
    Samples rustle;  ///< sheets
    std::array<Samples, 6> snores;
};

}  // namespace VelmorApp
