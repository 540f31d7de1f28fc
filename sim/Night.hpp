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
    void armDelegate(std::int64_t variant) { armed_ = variant; }
    void releaseDelegate();
    void armDebugDelegate() { debugThrows_ = true; }

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

    void install();
    std::string convert(const std::string& path);
    void heard(const char* what);
    void act(std::int64_t variant);
    void runFor(std::chrono::nanoseconds length);
    bool step(BootTime end);
    void lookAfter();
    void end();
    void checkMicrophoneGone(const char* when);
    void checkLeftOvers();
    void checkReleased();

    std::shared_ptr<WatchedFiles> watched_;
    CaptureParts::Convert realConvert_;
    std::multimap<BootTime, std::function<void()>> agenda_;
    BootTime stalledUntil_{};
    std::int64_t conversionsToFail_ = 0;
    std::uint64_t conversions_ = 0;
    std::int64_t armed_ = -1;
    bool debugThrows_ = false;
    std::uint64_t starts_ = 0;  // so that a check after a stop knows whether recording began again
    int managers_ = 0;
    int troubled_ = 0;  // glances since something went wrong, from 1
    std::string owner_;
    std::shared_ptr<Host> host_;
    std::shared_ptr<SleepTrackingManager> manager_;
    std::vector<std::pair<std::shared_ptr<SleepTrackingManager>, std::shared_ptr<Host>>> former_;
    std::shared_ptr<Chunks> beside_;
};

}  // namespace Velmor::Nights
