/// The two clocks of the library.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include <Velmor/Export.hpp>

namespace Velmor {

/// Counts from an arbitrary start, never goes back, and goes on while the machine sleeps. There is no `now()`
/// here: time is asked for through a `Clock`, so that a night can be replayed.
struct BootClock {
    using rep = std::int64_t;
    using period = std::nano;
    using duration = std::chrono::nanoseconds;
    using time_point = std::chrono::time_point<BootClock>;
    static constexpr bool is_steady = true;
};
using BootTime = BootClock::time_point;
using WallTime = std::chrono::system_clock::time_point;

/// Both operations may be called on any thread and do not throw.
class Clock {
  public:
    virtual ~Clock() = default;
    /// The time of day, for texts and for dates on the wire. May jump either way.
    virtual WallTime wallNow() const = 0;
    /// For intervals: sequence numbers, gaps and deadlines.
    virtual BootTime bootNow() const = 0;
};

/// The system's clocks.
VELMOR_API std::shared_ptr<Clock> makeClock();

}  // namespace Velmor
