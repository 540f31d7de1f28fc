// The configuration that log shipments carry when their caller gives none: the one constructed last.
#pragma once

#include <optional>

#include <Velmor/Config.hpp>

namespace Velmor {

/// Any thread. None empties the slot.
void setLogConfig(std::optional<Config> config);
std::optional<Config> logConfig();

}  // namespace Velmor
