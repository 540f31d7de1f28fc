// The host's delegate as the tracking calls it: held weakly, and its exceptions end here.
#pragma once

#include "Log/LogAPI.hpp"
#include "Runtime/Contain.hpp"

#include <memory>
#include <string>
#include <utility>

#include <Velmor/SleepTrackingManager.hpp>

namespace Velmor {

/// A value, so that a task may tell the host what its owner did not live to tell.
class TrackingDelegate {
  public:
    TrackingDelegate(std::shared_ptr<LogAPI> log, std::weak_ptr<VelmorSleepTrackingManagerDelegate> delegate)
        : log_(std::move(log)), delegate_(std::move(delegate)) {}

    /// Calls `call` with the delegate, on the main loop; does nothing when the delegate is gone.
    template <class Call>
    void tell(Call call) const {
        const auto delegate = delegate_.lock();
        if (!delegate) return;
        contain([&] { call(*delegate); },
                [&](const std::string& reason) {
                    log_->log(LogAPI::Level::E, "tracking", {"delegate: ", reason});
                });
    }

  private:
    std::shared_ptr<LogAPI> log_;
    std::weak_ptr<VelmorSleepTrackingManagerDelegate> delegate_;
};

}  // namespace Velmor
