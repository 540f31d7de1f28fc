// One night's faults, drawn from a seed; also as one line of text, so that a found sequence can be kept.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Velmor::Nights {

struct Kind;

struct Fault {
    std::chrono::milliseconds at;  ///< since the night began
    const Kind* kind;
    std::int64_t length;   ///< milliseconds, for those that last
    std::int64_t variant;  ///< 0 to 9999
};

struct Plan {
    std::uint64_t seed = 0;  ///< of what is drawn on the way, such as the service's delays
    bool audio = false;      ///< samples are carried and converted
    std::chrono::minutes length{480};
    std::vector<Fault> faults;
};

Plan draw(std::uint64_t seed, std::chrono::minutes length, bool audio);

/// "7 state 480; 1200500 interruption 31000 17; ..."
std::string text(const Plan& plan);
/// Throws std::runtime_error.
Plan parse(std::string_view text);

}  // namespace Velmor::Nights
