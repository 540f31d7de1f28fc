// Everything of one kind tried in turn, where a night of random faults tries some of it.
#pragma once

#include <cstddef>
#include <string>

namespace Velmor::Nights {

struct SweepOptions {
    std::size_t stride = 1;  ///< every so many of what there is
    bool audio = false;      ///< files and allocations: with real samples
};

/// For a help text: the names, each with what it does.
std::string sweepNames();

/// Prints what was done and each failure. True when nothing failed. Throws std::runtime_error for a name that
/// does not exist.
bool sweep(const std::string& name, const SweepOptions& options);

// One file each.
bool sweepFiles(const SweepOptions& options);
bool sweepAllocations(const SweepOptions& options);
bool sweepDelegates(const SweepOptions& options);
bool sweepEvents(const SweepOptions& options);
bool sweepThreads(const SweepOptions& options);
bool sweepRounds(const SweepOptions& options);

}  // namespace Velmor::Nights
