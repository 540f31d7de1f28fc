// Plays a night, and shows one that failed.
#pragma once

#include "Night.hpp"
#include "Plan.hpp"

namespace Velmor::Nights {

Outcome simulate(const Plan& plan, bool keepTrace);

/// Prints what was broken, the fewest faults that break it, and the end of their trace.
void explain(const Plan& plan, const Outcome& outcome);

}  // namespace Velmor::Nights
