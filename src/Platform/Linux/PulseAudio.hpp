#pragma once

#include <memory>
#include <string>

#include <Velmor/Platform/Audio.hpp>

namespace Velmor {

/// The audio system with libpulse from the file `library`, which is loaded when a microphone is first wanted.
std::shared_ptr<AudioSystem> makePulseAudioSystem(const std::shared_ptr<const Clock>& clock,
                                                  AudioOptions options, const std::string& library);

}  // namespace Velmor
