// The sweeps that are short nights: one fault each, held against the ledger like any night.
#include "Actions.hpp"
#include "Simulate.hpp"
#include "Sweeps.hpp"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>

namespace Velmor::Nights {
namespace {

/// Counts nights and prints those that fail.
class Count {
  public:
    Outcome play(const std::string& night) {
        const auto plan = parse(night);
        auto outcome = simulate(plan, false);
        ++nights_;
        if (!outcome.violations.empty() && failed_++ < 5) explain(plan, outcome);
        return outcome;
    }
    void fail(const std::string& night, const char* what) {
        if (failed_++ < 5) std::printf("FAILED %s\n  %s\n", night.c_str(), what);
    }
    bool conclude(const std::string& what) const {
        std::printf("%s: %zu nights, %zu failed (%.1f s)\n", what.c_str(), nights_, failed_,
                    static_cast<double>(std::clock()) / CLOCKS_PER_SEC);
        return failed_ == 0;
    }

  private:
    std::size_t nights_ = 0, failed_ = 0;
};

std::string fileNight(std::size_t nth, int form, bool audio) {
    return std::string("1 ") + (audio ? "audio" : "state") + " 12; 0 operation-fails " + std::to_string(nth) +
           " " + std::to_string(form) + "; 100000 interruption 3000 0; 130000 stop 0 0";
}

// Three nights in which a host hears of everything: one as it should be, one refused, one without a session.
constexpr const char* kGoodNight =
    "; 20000 query 0 0; 60000 interruption 3000 0; 70000 reset 3000 0; 130000 stop 0 0; "
    "140000 analysis 0 0; 150000 delete-user 0 0";
constexpr const char* kRefusedNight =
    "; 20000 status 2000 300; 21000 new-configuration 0 0; 30000 stop 0 0; 40000 permission 60000 0; "
    "41000 start 0 0";
constexpr const char* kRecorderNight =
    "; 30000 stop 0 0; 40000 recorder-beside 120000 0; 80000 interruption 3000 0; "
    "100000 format-change 100 0; 170000 permission 60000 0; 171000 recorder-beside 10000 0";

const char* nightFor(const std::string& call) {
    if (call.starts_with("recorder: ")) return kRecorderNight;
    return call == "didFailUserJoin" || call == "micPermissionWasDenied" ? kRefusedNight : kGoodNight;
}

}  // namespace

bool sweepFiles(const SweepOptions& options) {
    Count count;
    const auto operations = count.play(fileNight(1'000'000, 0, options.audio)).operations;
    for (int form = 0; form < 4; ++form)
        for (std::size_t nth = 1; nth <= operations; nth += options.stride)
            count.play(fileNight(nth, form, options.audio));
    return count.conclude("each of " + std::to_string(operations) + " file operations") && operations > 100;
}

// The recording goes on by itself unless the last event that counts was the beginning of an interruption;
// then a resume has it go on.
bool sweepEvents(const SweepOptions& options) {
    static constexpr std::array<const char*, 7> kEvents{
        "interruption-unended", "ended-first",  "media-reset", "resume",
        "configuration-change", "route-change", "buffers-stop"};
    constexpr std::size_t kOrders = 7 * 7 * 7 * 7;
    static constexpr std::array<std::size_t, 2> kSpaces{700, 2'500};  // the watch's limit is between them
    Count count;
    for (std::size_t turn = 0; turn < kOrders * kSpaces.size(); turn += options.stride) {
        std::string night = "1 state 2";
        bool interrupted = false;
        for (std::size_t left = turn / kSpaces.size(), i = 0; i < 4; left /= kEvents.size(), ++i) {
            const auto event = left % kEvents.size();
            night += "; " + std::to_string(39'000 + kSpaces[turn % kSpaces.size()] * i) + " " +
                     kEvents[event] + " 3000 0";
            if (event < 4) interrupted = event == 0;
        }
        if (interrupted) night += "; 50000 resume 0 0";
        if (count.play(night).lastUpload < std::chrono::seconds(95)) count.fail(night, "no chunk after it");
    }
    return count.conclude("orders of four events");
}

bool sweepDelegates(const SweepOptions& options) {
    Count count;
    for (std::size_t call = 0; call < delegateCalls().size(); ++call)
        for (std::size_t action = 0; action < actions().size(); action += options.stride)
            count.play("1 state 12; 0 delegate-call 0 " + std::to_string(call * 100 + action) +
                       nightFor(delegateCalls()[call]));
    return count.conclude(std::to_string(delegateCalls().size()) + " calls x " +
                          std::to_string(actions().size()) + " actions");
}

}  // namespace Velmor::Nights
