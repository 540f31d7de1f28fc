// The process-wide objects behind the entry points.
#pragma once

#include "Recorder/CaptureParts.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <memory>
#include <optional>
#include <vector>

#include <Velmor/Velmor.hpp>

namespace Velmor {

class LogAPI;
class MicrophoneRecorder;
class ReportQueries;
class SessionsService;
class SleepTracker;
class VelmorConfig;

/// One platform, one log and the objects made on them. Any thread. Replacing the platform replaces the
/// library.
class Library : public std::enable_shared_from_this<Library> {
  public:
    /// The library in use, made with the system's own platform on first need.
    static std::shared_ptr<Library> shared();
    /// `parts` go to every recording from now on.
    static void replace(Platform platform, CaptureParts parts = {});

    explicit Library(const std::shared_ptr<const Platform>& platform, CaptureParts parts = {});
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    void initVelmorConfig(const std::string& apiKey, const std::optional<std::string>& userId,
                          const std::optional<Url>& baseUrl, const std::optional<Url>& callbackUrl,
                          const std::optional<std::string>& service,
                          const std::shared_ptr<VelmorConfigDelegate>& delegate);
    void deleteUser(const Config& config);
    std::shared_ptr<SleepTrackingManager> createSleepTrackingManager(
        const Config& config, const std::weak_ptr<VelmorSleepTrackingManagerDelegate>& delegate);
    std::shared_ptr<Reports> createReports(const Config& config);
    std::shared_ptr<Recorder> createRecorder(const std::weak_ptr<VelmorRecordingDelegate>& delegate);

  private:
    /// Holds a tracker that was replaced until the nights that its host stopped are closed.
    void keepWhileClosing(const std::shared_ptr<SleepTracker>& tracker);

    struct Slots {
        std::shared_ptr<VelmorConfig> config;
        std::shared_ptr<SleepTracker> tracker;
        std::vector<std::shared_ptr<SleepTracker>> closing;  ///< replaced trackers that still close nights
        std::shared_ptr<ReportQueries> reports;
        std::shared_ptr<MicrophoneRecorder> recorder;
    };

    /// Made with `config` on first need.
    std::shared_ptr<SleepTracker> sharedTracker(const Config& config);

    const std::shared_ptr<const Platform> platform_;
    const CaptureParts parts_;
    const std::shared_ptr<LogAPI> log_;
    const std::shared_ptr<SessionsService> logService_;
    Mutex mutex_;  // what leaves a slot is released after unlocking, for its end may call a host
    Slots slots_ VELMOR_GUARDED_BY(mutex_);
};

}  // namespace Velmor
