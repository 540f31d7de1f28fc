#include "Simulate.hpp"

#include <algorithm>
#include <cstdio>

namespace Velmor::Nights {
namespace {

// Drops faults, many at a time and then one by one, while the night still fails.
Plan shrink(Plan plan) {
    for (std::size_t size = std::max<std::size_t>(plan.faults.size() / 2, 1); size > 0; size /= 2) {
        for (std::size_t from = 0; from < plan.faults.size();) {
            auto fewer = plan;
            const auto first = fewer.faults.begin() + static_cast<std::ptrdiff_t>(from);
            const auto count = std::min(size, fewer.faults.size() - from);
            fewer.faults.erase(first, first + static_cast<std::ptrdiff_t>(count));
            if (simulate(fewer, false).violations.empty())
                from += size;
            else
                plan = std::move(fewer);
        }
    }
    return plan;
}

}  // namespace

Outcome simulate(const Plan& plan, bool keepTrace) {
    Night night(plan, keepTrace);
    return night.run();
}

void explain(const Plan& plan, const Outcome& outcome) {
    std::printf("FAILED %s\n", text(plan).c_str());
    for (std::size_t i = 0; i < outcome.violations.size() && i < 3; ++i)
        std::printf("  %s\n", outcome.violations[i].c_str());
    const auto smaller = shrink(plan);
    const auto again = simulate(smaller, true);
    std::printf("  shrinks to %s\n", text(smaller).c_str());
    std::size_t broken = 0;
    while (broken < again.trace.size() && again.trace[broken].find("BROKEN") == std::string::npos) ++broken;
    for (std::size_t i = broken > 30 ? broken - 30 : 0; i < again.trace.size() && i <= broken + 2; ++i)
        std::printf("    %s\n", again.trace[i].c_str());
    std::fflush(stdout);
}

}  // namespace Velmor::Nights
