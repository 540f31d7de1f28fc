// The program's allocations, which fail when a sweep wants them to.
#pragma once

#include <cstdint>

namespace Velmor::Nights::Allocations {

/// From now on the allocation number `nth` of this thread throws std::bad_alloc, counted from 1, and with
/// `fromThenOn` all that follow. 0 counts only.
void arm(std::uint64_t nth, bool fromThenOn);
/// Allocations since `arm`, those that failed included.
std::uint64_t disarm();
/// Blocks of the whole process that were allocated and not freed.
std::int64_t live();

/// What a double or the host allocates in its scope is not the library's.
class Spared {
  public:
    Spared() noexcept;
    ~Spared();
    Spared(const Spared&) = delete;
    Spared& operator=(const Spared&) = delete;
};

/// One allocation that may fail, whoever is spared: a seam that has no memory.
void failPoint();

}  // namespace Velmor::Nights::Allocations
