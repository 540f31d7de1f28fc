#include "SleepTrackingManager/SleepTracker.hpp"

#include <utility>

#include <Velmor/SleepTrackingManager.hpp>

namespace Velmor {

SleepTrackingManager::SleepTrackingManager(std::shared_ptr<SleepTracker> tracker)
    : tracker_(std::move(tracker)) {}

SleepTrackingManager::~SleepTrackingManager() = default;

void SleepTrackingManager::startTracking() {
    tracker_->startTracking();
}

void SleepTrackingManager::resumeTracking() {
    tracker_->resumeTracking();
}

void SleepTrackingManager::stopTracking() {
    tracker_->stopTracking();
}

void SleepTrackingManager::requestAnalysis() {
    tracker_->requestAnalysis();
}

TrackingStatus SleepTrackingManager::getTrackingStatus() {
    return tracker_->getTrackingStatus();
}

}  // namespace Velmor
