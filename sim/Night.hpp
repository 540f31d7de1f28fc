// One night: the library among doubles, a host that wants it tracked, and the faults of a plan.
#pragma once

#include "Kinds.hpp"
#include "Ledger.hpp"
#include "Plan.hpp"
#include "Recorder/CaptureParts.hpp"
#include "Service.hpp"
#include "WatchedFiles.hpp"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <Velmor/Testing.hpp>
#include <Velmor/Velmor.hpp>

namespace Velmor::Nights {

struct Outcome {
    std::vector<std::string> violations;
    std::vector<std::string> trace;
    std::uint64_t hash = 0;
    std::size_t chunks = 0;
    std::size_t operations = 0;              ///< of files, until `endFileFault`
    std::chrono::nanoseconds lastUpload{0};  ///< since the night began
};

class Night {
  public:
    Night(const Plan& plan, bool keepTrace);
    ~Night();
    Night(const Night&) = delete;
    Night& operator=(const Night&) = delete;

    Outcome run();

    // What faults do.
    void later(std::chrono::milliseconds delay, std::function<void()> action);
    void stall(std::chrono::milliseconds length);
    void suspend(std::chrono::milliseconds length);
    /// From now on operations on files may fail, and chunks be lost.
    void failFiles(std::chrono::milliseconds length);
    /// Inside a task of the loop: nothing else of the loop runs, but sound goes on.
    void block(std::chrono::milliseconds length) { audio->advance(length); }
    void failConversions(std::int64_t count) { conversionsToFail_ = count; }
    void start();
    void stop();
    void resume();
    void analyse();
    void ask();
    void configure();
    void replaceManager(bool keepFormer);
    void removeUser();
    void recordBeside(std::chrono::milliseconds length);
    void queryReport();
    void hearDebugLines();
    void replaceLibrary();
    void releaseDelegate();
    void releaseManager() { manager_.reset(); }
    void armDebugDelegate() { debugThrows_ = true; }
    /// The host does `actions()[action]` inside the next call, or the next that is called `call`.
    void armDelegate(std::size_t action, const char* call = nullptr) { armed_ = {action, call}; }

    void beginFileFault(Testing::MemoryFiles::Fault fault) { files->addFault(std::move(fault)); }
    void endFileFault();
    /// Looked at when the night is over, before its objects go; it breaks a rule or does not.
    void expect(std::function<void()> holds) { expectations_.push_back(std::move(holds)); }
    bool acted() const { return callsSinceAction_.has_value(); }
    std::size_t callsSinceAction() const { return callsSinceAction_.value_or(0); }

    const std::shared_ptr<Testing::VirtualClock> clock = std::make_shared<Testing::VirtualClock>();
    const std::shared_ptr<Testing::ManualExecutor> loop = std::make_shared<Testing::ManualExecutor>(clock);
    const std::shared_ptr<Testing::ManualExecutor> audio = std::make_shared<Testing::ManualExecutor>(clock);
    const std::shared_ptr<Testing::MemoryFiles> files = std::make_shared<Testing::MemoryFiles>();
    const std::shared_ptr<Testing::FixedDevice> device = std::make_shared<Testing::FixedDevice>();
    const Plan plan;
    Trace trace;
    Ledger ledger{trace, clock};
    std::shared_ptr<Service> service;
    std::shared_ptr<Testing::VirtualMicrophone> microphone;
    std::vector<std::uint32_t> usualBuffers;

  private:
    class Host;
    class Joined;
    class Chunks;
    class DebugLines;

    static constexpr std::chrono::minutes kGlance{7};  // how often the host looks after its night

    void install();
    std::string convert(const std::string& path);
    void heard(const std::string& what);
    void runFor(std::chrono::nanoseconds length);
    bool step(BootTime end);
    void lookAfter();
    void end();
    void checkCalls();
    void checkMicrophoneGone(const char* when);
    void checkLeftOvers();
    void checkReleased();

    std::shared_ptr<WatchedFiles> watched_;
    CaptureParts::Convert realConvert_;
    std::multimap<BootTime, std::function<void()>> agenda_;
    BootTime stalledUntil_{}, filesFailUntil_{};
    std::int64_t conversionsToFail_ = 0;
    std::uint64_t conversions_ = 0;
    struct Armed {
        std::size_t action;
        const char* call;
    };
    std::optional<Armed> armed_;
    std::optional<std::size_t> callsSinceAction_;
    std::vector<std::function<void()>> expectations_;
    std::size_t operations_ = 0;
    bool debugThrows_ = false;
    std::uint64_t starts_ = 0;  // so that a check after a stop knows whether recording began again
    int managers_ = 0, recordersBeside_ = 0;
    int troubled_ = 0;  // glances since something went wrong, from 1
    std::string owner_;
    std::shared_ptr<Host> host_;
    std::vector<std::shared_ptr<Host>> formerHosts_;
    std::shared_ptr<SleepTrackingManager> manager_;
    std::vector<std::pair<std::shared_ptr<SleepTrackingManager>, std::shared_ptr<Host>>> former_;
    std::shared_ptr<Chunks> beside_;
    std::shared_ptr<Recorder> recorderBeside_;  // the last one
};

}  // namespace Velmor::Nights
