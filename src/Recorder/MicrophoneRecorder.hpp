// The recorder behind the public interface: permission, start and stop, and the recording service's channels
// as calls of one delegate.
#pragma once

#include "Recorder/RecordingService.hpp"

#include <functional>
#include <memory>

#include <Velmor/Recorder.hpp>

namespace Velmor {

/// The operations of the public interface may be called on any thread, all others on the main loop, where the
/// delegate is called too. The last reference may drop anywhere.
class MicrophoneRecorder final : public Recorder, public std::enable_shared_from_this<MicrophoneRecorder> {
  public:
    static std::shared_ptr<MicrophoneRecorder> make(const std::shared_ptr<const Platform>& platform,
                                                    const std::shared_ptr<LogAPI>& log,
                                                    const std::weak_ptr<VelmorRecordingDelegate>& delegate,
                                                    CaptureParts parts = {});

    Async<bool> hasPermission() override;
    void startRecording() override;
    void stopRecording() override;

    /// `answer` is called once, at once or later, on the main loop; never when this object goes away first.
    void askPermission(const std::function<void(bool)>& answer);
    /// Checks the permission and starts the recording service, or tells the delegate that it was denied.
    /// `answer` gets the permission, after the service was asked to start; it may be empty.
    void start(std::function<void(bool)> answer);
    void stop();
    /// Goes on after an interruption that the system did not end.
    void resume();

    /// A start that still waits for the user's permission is not to happen any more; a refusal is still told.
    void cancelStart() { ++startGeneration_; }
    /// From now on nobody is told anything.
    void clearDelegate() { delegate_.reset(); }

    const std::shared_ptr<RecordingService>& recordingService() const { return recordingService_; }

  private:
    MicrophoneRecorder(const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log,
                       const std::weak_ptr<VelmorRecordingDelegate>& delegate, CaptureParts parts);
    void hearService();
    void onMainLoop(std::function<void(MicrophoneRecorder&)> call);
    template <class Call>
    void tell(Call call);

    const std::shared_ptr<const Platform> platform_;
    const std::shared_ptr<LogAPI> log_;
    Bag bag_;
    std::weak_ptr<VelmorRecordingDelegate> delegate_;
    const std::shared_ptr<RecordingService> recordingService_;
    std::uint64_t startGeneration_ = 0;  // changes with every stop and cancel
};

}  // namespace Velmor
