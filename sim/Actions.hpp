// What a host may do inside a call of one of its delegates.
#pragma once

#include <span>

namespace Velmor::Nights {

class Night;

struct Action {
    const char* name;
    void (*run)(Night& night);  ///< may throw
};

std::span<const Action> actions();

/// Each call that a host may hear, as `Night::heard` is told of it.
std::span<const char* const> delegateCalls();

}  // namespace Velmor::Nights
