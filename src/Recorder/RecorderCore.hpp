// The thin front of the recording: permission, start and stop, and the service's channels as calls of one
// delegate.
#pragma once

#include "Recorder/RecordingService.hpp"

#include <functional>
#include <memory>

#include <Velmor/Recorder.hpp>

namespace Velmor {

/// Operations are called on the main loop, and so is the delegate. The last reference may drop anywhere.
class RecorderCore : public std::enable_shared_from_this<RecorderCore> {
  public:
    static std::shared_ptr<RecorderCore> make(const std::shared_ptr<const Platform>& platform,
                                              const std::shared_ptr<LogAPI>& log,
                                              const std::weak_ptr<VelmorRecordingDelegate>& delegate,
                                              CaptureParts parts = {});
    /// With a recording service of the caller's making.
    static std::shared_ptr<RecorderCore> make(const std::shared_ptr<const Platform>& platform,
                                              const std::shared_ptr<LogAPI>& log,
                                              const std::weak_ptr<VelmorRecordingDelegate>& delegate,
                                              const std::shared_ptr<RecordingService>& service);

    /// `answer` is called once, at once or later, on the main loop; never when this object goes away first.
    void hasPermission(const std::function<void(bool)>& answer);
    /// Checks the permission and starts the recording service, or tells the delegate that it was denied.
    /// `answer` gets the permission, after the service was asked to start; it may be empty.
    void start(std::function<void(bool)> answer);
    void stop();
    /// Goes on after an interruption that the system did not end.
    void resume();

    /// A start that still waits for the user's permission is not to happen any more; a refusal is still told.
    void cancelStart() { ++epoch_; }
    /// From now on nobody is told anything.
    void clearDelegate() { delegate_.reset(); }

    const std::shared_ptr<RecordingService>& recordingService() const { return service_; }
    const std::shared_ptr<const Platform>& platform() const { return platform_; }
    const std::shared_ptr<LogAPI>& log() const { return log_; }

  private:
    RecorderCore(const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log,
                 const std::weak_ptr<VelmorRecordingDelegate>& delegate,
                 const std::shared_ptr<RecordingService>& service);
    void bridge();
    template <class Call>
    void tell(Call call);

    const std::shared_ptr<const Platform> platform_;
    const std::shared_ptr<LogAPI> log_;
    std::weak_ptr<VelmorRecordingDelegate> delegate_;
    const std::shared_ptr<RecordingService> service_;
    Bag bag_;
    std::uint64_t epoch_ = 0;  // changes with every stop and cancel
};

}  // namespace Velmor
