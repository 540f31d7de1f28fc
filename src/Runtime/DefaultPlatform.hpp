// The one place where the library's defaults are made.
#pragma once

#include <memory>

#include <Velmor/Platform.hpp>

namespace Velmor {

/// `given` with each empty field filled in: the system's clock, files, device, microphone and transport,
/// executors on threads of their own, console lines to standard error. Starts no thread yet.
std::shared_ptr<const Platform> completePlatform(Platform given);

}  // namespace Velmor
