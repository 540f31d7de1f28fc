// What becomes of a failure to build or to start the audio engine.
#pragma once

#include <exception>
#include <string>

#include <Velmor/Error.hpp>
#include <Velmor/Platform.hpp>

namespace Velmor {

/// Whether the session cannot be activated because the application is in the background.
bool isBackgroundActivation(const std::exception_ptr& failure);

/// The public error for the failure. `ranBefore`: the recording's engine has run already, so that the host
/// has to resume from the foreground.
VelmorError engineError(const std::exception_ptr& failure, bool ranBefore);

/// "setupEngine FORMAT-ERROR sampleRate: 44100.0, channelCount: 1"
std::string formatErrorLine(const AudioFormat& format);

}  // namespace Velmor
