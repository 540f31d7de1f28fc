// A recording on disk as a stream of mono sound.
#pragma once

#include "Sound/SoundSource.hpp"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace VelmorApp {

/// A recording that cannot be used. `what()` is one line that names the file and the reason.
class InputError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Any format and rate that libsndfile reads, channels mixed to one, converted to `rate` Hz while it is read.
/// Throws InputError: unreadable, empty, shorter than its header says, not a sound file.
std::unique_ptr<SoundSource> openRecording(const std::string& path, std::uint32_t rate);

}  // namespace VelmorApp
