// A synthetic bedroom at night: a sleeper who breathes, snores at times and turns over now and then, in a
// room with its own noise.
#pragma once

#include "Sound/SoundSource.hpp"

#include <cstdint>
#include <memory>

namespace VelmorApp {

/// `frames` frames at 48 kHz. The same seed gives the same bits on every machine, however the frames are
/// asked for.
std::unique_ptr<SoundSource> makeBedroom(std::uint64_t seed, std::uint64_t frames);

}  // namespace VelmorApp
