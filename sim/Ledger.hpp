// What must be true of a night, kept by somebody who sees only its outside: the debug lines, the lines of the
// log, requests and answers, and what the host hears.
#pragma once

#include "Trace.hpp"

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <Velmor/Testing.hpp>

namespace Velmor::Nights {

enum class Call { create, mel, close, analysis, report, user, log, other };

/// User id of those who read reports beside the night.
inline constexpr const char* kReader = "reader";

struct Sent {
    Call call = Call::other;
    std::string owner;    ///< user id of the manager that sent it
    std::string session;  ///< of mel, close and analysis
    std::int64_t sequence = 0;
};

class Ledger {
  public:
    Ledger(Trace& trace, std::shared_ptr<const Testing::VirtualClock> clock)
        : trace_(trace), clock_(std::move(clock)) {}

    void note(std::string_view text) { trace_.add(now().count() / 1'000'000, text); }
    void broken(const std::string& rule);
    const std::vector<std::string>& violations() const { return violations_; }

    void debugLine(std::string_view line);
    void logLine(std::string_view line);
    /// What is in a log file, or was shipped with `end` for the end of a line.
    void checkLogText(std::string_view text, std::string_view end);
    void logLineUnseen() { ++unseenLines_; }
    void logLineTorn() { tornLine_ = true; }  ///< a write broke off: what is there of the line stays
    void converted() { ++converted_; }
    /// A chunk was finished, whatever becomes of it, or frames could not be had for a while.
    void soundCounted() { soundAt_ = now(); }
    void takenElsewhere() { ++ended_; }  ///< by a recorder's own host
    void conversionFailed() { ++conversionFailures_; }

    std::uint64_t sent(const Sent& sent);
    void answered(std::uint64_t flight, bool accepted);
    void givenUp(std::uint64_t flight);

    void heardUpload(const std::string& owner, std::int64_t sequence);
    void heardFailure(const std::string& owner, std::string_view description);
    /// Every start leads to one final word; a start while a night is under way shares that night's.
    void askedToStart(const std::string& owner);
    void heardEnd(const std::string& owner);

    // What the host and the faults did.
    void disturbed(std::chrono::nanoseconds length);  ///< from now on, numbers may be missing
    void mayFail() { recorderMayFail_ = true; }       ///< the recorder may report failures of its own
    void abandoned(const std::string& owner);         ///< its night, or its manager
    void deafened(const std::string& owner) { deaf_.insert(owner); }
    void recordingReleased() { first_.reset(); }
    bool isOver() const { return over_; }  ///< the recording ended by itself after 24 hours
    void twoManagers() { numbersAreMixed_ = true; }

    /// Everything that was due at this instant has run.
    void settle();
    void checkProgress();
    /// At each instant: whether an engine that is started now would get frames, and their chunks be written.
    void checkSound(bool available);
    void finish();

    std::size_t inFlight() const { return flights_.size(); }
    std::size_t chunks() const { return handedOver_; }
    /// Failures that the host heard of and no request had.
    std::size_t recorderFailures() const { return recorderFailures_; }
    /// Time since a chunk was last confirmed.
    std::chrono::nanoseconds sinceUpload() const { return now() - lastUpload_; }
    std::chrono::nanoseconds lastUpload() const { return lastUpload_; }

  private:
    struct Session {
        std::optional<std::int64_t> last;
        bool closing = false, closeFailed = false;
    };
    struct Instant {  // answers whose consequence the host has not heard yet
        std::multiset<std::int64_t> uploads;
        std::deque<bool> failures;  // whether of an upload
    };

    struct Ends {
        bool due = false;    // a start whose night's end is yet to be told
        bool maybe = false;  // likewise, if the start was not taken before the last end
        bool fresh = false;  // the last start may not have been taken yet
    };

    std::chrono::nanoseconds now() const { return clock_->bootNow().time_since_epoch(); }
    void handedOver(std::int64_t sequence);
    void checkNumber(std::int64_t sequence);
    void sentLifecycle(const Sent& sent);
    bool calm(std::chrono::nanoseconds since) const { return disturbedUntil_ < since && !interrupted_; }

    Trace& trace_;
    const std::shared_ptr<const Testing::VirtualClock> clock_;
    std::vector<std::string> violations_;

    std::map<std::uint64_t, Sent> flights_;
    std::uint64_t nextFlight_ = 0;
    std::map<std::string, Session> sessions_;
    std::map<std::string, Instant> instants_;
    std::set<std::string> abandoned_, deaf_;  // abandoned_: since the last settling
    std::multiset<std::int64_t> waiting_;     // handed over and not sent
    std::multiset<std::int64_t> excused_;     // likewise, of abandoned nights: sent only if they were stopped
    std::map<std::string, Ends> ends_;

    std::size_t converted_ = 0, handedOver_ = 0, ended_ = 0, stoppedLines_ = 0, publisherLines_ = 0;
    bool tornLine_ = false;
    std::size_t conversionFailures_ = 0, convertLines_ = 0, unseenLines_ = 0;
    std::size_t failuresHeard_ = 0, failureLines_ = 0, recorderFailures_ = 0;
    std::size_t lastWords_ = 0;  // failures of a manager that goes, of which the host may or may not hear

    bool unsettled_ = false, recorderMayFail_ = false, numbersAreMixed_ = false, interrupted_ = false;
    bool over_ = false;
    std::optional<std::chrono::nanoseconds> first_;  // of the recording
    std::optional<std::int64_t> last_;
    std::chrono::nanoseconds lastAt_{0}, disturbedUntil_{-1}, lastUpload_{0}, soundAt_{0};
};

}  // namespace Velmor::Nights
