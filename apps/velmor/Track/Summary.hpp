// The end of a night, told to a person or to a program.
#pragma once

#include "Track/Night.hpp"

#include <chrono>
#include <string>

namespace VelmorApp {

struct NightTotals {
    double audioSeconds = 0.0;          ///< of sound that was heard
    std::chrono::nanoseconds lasted{};  ///< on the library's clock
    std::chrono::nanoseconds took{};    ///< on the wall
    std::string service;                ///< URL
    std::string serviceDirectory;       ///< empty when the service is not ours
    std::string log;                    ///< file; empty when it was shipped
};

/// The last line of `--json`.
std::string summaryJson(const NightBooks& books, const NightTotals& totals);
std::string summaryText(const NightBooks& books, const NightTotals& totals);

}  // namespace VelmorApp
