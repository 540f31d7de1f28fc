// What the library runs on between nights; it touches nothing outside.
#pragma once

#include <Velmor/Platform.hpp>

namespace Velmor::Nights {

/// Made once, never destroyed.
const Platform& emptyPlatform();

}  // namespace Velmor::Nights
