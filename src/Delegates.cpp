// The classes with virtual functions that a host uses. Their tables and type information are here, where
// every host's compiler finds the same. The calls of delegates do nothing until the host overrides them.

#include <Velmor/Velmor.hpp>

namespace Velmor {

SleepTrackingManager::~SleepTrackingManager() = default;
Reports::~Reports() = default;

VelmorDebugLoggerDelegate::~VelmorDebugLoggerDelegate() = default;

VelmorConfigDelegate::~VelmorConfigDelegate() = default;
void VelmorConfigDelegate::userDidJoin(const std::string&, const Config&) {}
void VelmorConfigDelegate::didFailUserJoin(const VelmorError&) {}
void VelmorConfigDelegate::userDidDelete(const std::string&) {}

VelmorRecordingDelegate::~VelmorRecordingDelegate() = default;
// NOLINTNEXTLINE(performance-unnecessary-value-param): who overrides it may keep the bytes
void VelmorRecordingDelegate::recordedData(std::string, std::int64_t) {}
void VelmorRecordingDelegate::didFail(const VelmorError&) {}
void VelmorRecordingDelegate::didInterrupt() {}
void VelmorRecordingDelegate::didResume() {}
void VelmorRecordingDelegate::micPermissionWasDenied() {}

VelmorSleepTrackingManagerDelegate::~VelmorSleepTrackingManagerDelegate() = default;
void VelmorSleepTrackingManagerDelegate::didCreate() {}
void VelmorSleepTrackingManagerDelegate::didUpload(std::int64_t) {}
void VelmorSleepTrackingManagerDelegate::didClose(const std::string&) {}
void VelmorSleepTrackingManagerDelegate::didFail(const VelmorError&) {}
void VelmorSleepTrackingManagerDelegate::didInterrupt() {}
void VelmorSleepTrackingManagerDelegate::didResume() {}
void VelmorSleepTrackingManagerDelegate::micPermissionWasDenied() {}
void VelmorSleepTrackingManagerDelegate::analysing(const Model::Session&) {}
void VelmorSleepTrackingManagerDelegate::trackingEnded(const TrackingOutcome&) {}

}  // namespace Velmor
