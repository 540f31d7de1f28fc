#include "Sweeps.hpp"

#include <array>
#include <stdexcept>

namespace Velmor::Nights {
namespace {

struct Sweep {
    const char* name;
    const char* does;
    bool (*run)(const SweepOptions& options);
};

constexpr auto kSweeps = std::to_array<Sweep>({
    {"files", "each file operation fails, once and from there on", sweepFiles},
    {"allocations", "each allocation fails, once and from there on", sweepAllocations},
    {"delegates", "each call of a delegate, each thing a host may do in it", sweepDelegates},
    {"events", "what a sound system tells, four times, in every order", sweepEvents},
    {"threads", "32 threads over every entry point", sweepThreads},
    {"rounds", "10,000 times made and destroyed with requests in flight", sweepRounds},
});

}  // namespace

std::string sweepNames() {
    std::string text;
    for (const auto& [name, does, run] : kSweeps)
        text.append(text.empty() ? "" : "; ").append(name).append(" (").append(does).append(")");
    return text;
}

bool sweep(const std::string& name, const SweepOptions& options) {
    for (const auto& known : kSweeps)
        if (name == known.name) return known.run(options);
    throw std::runtime_error("no sweep is called " + name + ", but " + sweepNames());
}

}  // namespace Velmor::Nights
