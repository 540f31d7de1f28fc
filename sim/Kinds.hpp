// The table of faults.
#pragma once

#include <cstdint>
#include <span>

namespace Velmor::Nights {

class Night;

enum class Group { audio, server, storage, time, use };

struct Kind {
    Group group;
    const char* name;
    std::int64_t weight;  ///< how often it is drawn, against the others
    /// `length` in milliseconds; `variant` from 0 to 9999 chooses among a kind's forms.
    void (*apply)(Night& night, std::int64_t length, std::int64_t variant);
    bool harmless = false;  ///< costs no chunk: numbers must not show it
};

std::span<const Kind> kinds();
const char* name(Group group);

}  // namespace Velmor::Nights
