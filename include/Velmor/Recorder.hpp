/// Recording without a session: the microphone is turned into numbered chunks of mel spectrograms, and what
/// becomes of them is the application's affair. Obtained from `createRecorder`.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <Velmor/Async.hpp>
#include <Velmor/Error.hpp>
#include <Velmor/Export.hpp>

namespace Velmor {

/// Derived from by whoever wants the chunks, overriding what it wants to hear: every call does nothing by
/// itself. Every call comes on the library's main loop, one at a time, with no lock held: the recorder may be
/// used and released from inside. An exception is logged and dropped.
class VELMOR_API VelmorRecordingDelegate {
  public:
    virtual ~VelmorRecordingDelegate();
    /// One finished chunk of 30 s: the bytes of its `.npy` file (float32, shape (1, 20, 1201)) and its
    /// number, counted in periods of 30 s since the start. Numbers grow; those of periods lost in an
    /// interruption are left out.
    virtual void recordedData(std::string data, std::int64_t sequence);
    virtual void didFail(const VelmorError& error);  ///< once for each failure
    virtual void didInterrupt();                     ///< nothing is recorded until `didResume`
    virtual void didResume();  ///< the time lost is filled with silence where a chunk is affected
    virtual void micPermissionWasDenied();  ///< nothing was started
};

/// Operations may be called on any thread and return at once. A request in the wrong state is logged and
/// dropped. The library keeps a reference of its own, so stop a recording to end it; with the last reference
/// the microphone is released, whatever the state.
class VELMOR_API Recorder {
  public:
    virtual ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// Whether the microphone may be used. Asks the user when that is not settled yet, so it may take as long
    /// as the user likes.
    virtual Async<bool> hasPermission() = 0;
    /// Asks for the permission where needed, then records.
    virtual void startRecording() = 0;
    /// Ends the recording; a chunk that is not full is dropped.
    virtual void stopRecording() = 0;

  protected:
    Recorder() = default;
};

}  // namespace Velmor
