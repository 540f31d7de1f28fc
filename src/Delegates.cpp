// The tables of the classes that a host derives from, with the type information that its compiler refers to.

#include <Velmor/Velmor.hpp>

namespace Velmor {

VelmorConfigDelegate::~VelmorConfigDelegate() = default;
VelmorDebugLoggerDelegate::~VelmorDebugLoggerDelegate() = default;
VelmorRecordingDelegate::~VelmorRecordingDelegate() = default;
VelmorSleepTrackingManagerDelegate::~VelmorSleepTrackingManagerDelegate() = default;

void VelmorSleepTrackingManagerDelegate::trackingEnded(const TrackingOutcome&) {}

}  // namespace Velmor
