/// VelmorSDK: tracks a night of sleep. This header is the whole library. In reading order:
///   Velmor/Config.hpp                what the application is known by
///   Velmor/SleepTrackingManager.hpp  tracking a night
///   Velmor/Reports.hpp               reading what came of it
///   Velmor/Error.hpp                 what may go wrong
///   Velmor/Model.hpp                 the records of reports
///   Velmor/Log.hpp                   the debug log
///   Velmor/Recorder.hpp              recording without a session
///   Velmor/Platform.hpp              replacing network, microphone, files, clock, main loop
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <Velmor/Config.hpp>
#include <Velmor/Error.hpp>
#include <Velmor/Export.hpp>
#include <Velmor/Log.hpp>
#include <Velmor/Model.hpp>
#include <Velmor/Platform.hpp>
#include <Velmor/Recorder.hpp>
#include <Velmor/Reports.hpp>
#include <Velmor/SleepTrackingManager.hpp>

namespace Velmor {

/// Derived from by the application to hear what came of `initVelmorConfig` and `deleteUser`; every call does
/// nothing unless overridden. Called on the library's main loop with no lock held; an exception is logged and
/// dropped.
class VELMOR_API VelmorConfigDelegate {
  public:
    virtual ~VelmorConfigDelegate();
    /// `config` is the one to use from now on, `userId` its user id.
    virtual void userDidJoin(const std::string& userId, const Config& config);
    virtual void didFailUserJoin(const VelmorError& error);  ///< also when `deleteUser` fails
    virtual void userDidDelete(const std::string& userId);
};

/// Registers the user (makes a new one when `userId` is absent). Abandons a night that is being tracked,
/// before it returns; one that was stopped before is still closed, and its delegate hears of it. The outcome
/// reaches `delegate`, which is kept until the next call; earlier delegates hear nothing any more. A key
/// or an id that `Config` refuses is told to `didFailUserJoin`, and nothing else changes. Any thread.
VELMOR_API void initVelmorConfig(const std::string& apiKey, const std::optional<std::string>& userId,
                                 const std::optional<Url>& baseUrl, const std::optional<Url>& callbackUrl,
                                 const std::optional<std::string>& service,
                                 const std::shared_ptr<VelmorConfigDelegate>& delegate);

/// The same for a new user of the production service, without callback URL and service name.
VELMOR_API void initVelmorConfig(const std::string& apiKey,
                                 const std::shared_ptr<VelmorConfigDelegate>& delegate);

/// Deletes the user on the server; the outcome reaches the current configuration's delegate. Any thread.
VELMOR_API void deleteUser(const Config& config);

/// A new manager, which replaces the former; the library keeps a reference until the next call. A night that
/// the former's host has stopped is still closed. `delegate` is held weakly: the application keeps it alive.
/// Any thread.
VELMOR_API std::shared_ptr<SleepTrackingManager> createSleepTrackingManager(
    const Config& config, const std::weak_ptr<VelmorSleepTrackingManagerDelegate>& delegate);

/// The shared reports object, with its configuration set to `config`. Any thread.
VELMOR_API std::shared_ptr<Reports> createReports(const Config& config);

/// A new recorder, which replaces the former (whose delegate hears nothing any more); the library keeps a
/// reference until the next call. There is one microphone: record with a manager or a recorder, not with
/// both. `delegate` is held weakly. Any thread.
VELMOR_API std::shared_ptr<Recorder> createRecorder(const std::weak_ptr<VelmorRecordingDelegate>& delegate);

}  // namespace Velmor
