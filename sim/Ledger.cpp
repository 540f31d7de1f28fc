#include "Ledger.hpp"

#include <charconv>
#include <cstdlib>

namespace Velmor::Nights {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

constexpr nanoseconds kPeriod = 30s;
constexpr nanoseconds kSlack = 5s;  // buffers, blocks and the last chunk's conversion
constexpr nanoseconds kLongest = 24h;
// Frames are missed for 2 s at most, an engine is tried again after 60 s at most, and a chunk has 30.
constexpr nanoseconds kDeaf = 100s;

bool isLifecycle(Call call) {
    return call == Call::create || call == Call::mel || call == Call::close;
}

constexpr std::string_view kForm = "0000-00-00 00:00:00.000 | ";

bool hasLogForm(std::string_view line) {
    if (line.size() <= kForm.size()) return false;
    for (std::size_t i = 0; i < kForm.size(); ++i)
        if (kForm[i] == '0' ? line[i] < '0' || line[i] > '9' : line[i] != kForm[i]) return false;
    return true;
}

std::optional<std::int64_t> numberAfter(std::string_view line, std::string_view prefix) {
    if (!line.starts_with(prefix)) return {};
    std::int64_t value = 0;
    std::from_chars(line.data() + prefix.size(), line.data() + line.size(), value);
    return value;
}

}  // namespace

void Ledger::broken(const std::string& rule) {
    note("BROKEN: " + rule);
    violations_.push_back(std::to_string(now().count() / 1'000'000) + " ms: " + rule);
}

void Ledger::debugLine(std::string_view line) {
    note(line);
    if (const auto sequence = numberAfter(line, "Tracking: request upload data, sequence = ")) {
        handedOver(*sequence);
    } else if (line == "Recorder: state started") {
        first_ = lastAt_ = soundAt_ = now();
        last_.reset();
        interrupted_ = false;
    } else if (line == "Recorder: state stopped with error: over24hours") {
        over_ = numbersAreMixed_ || (first_ && now() - *first_ >= kLongest);
        if (!over_) broken("over before its time");
        first_.reset();
    } else if (line.starts_with("Recorder: state stopped") || line == "Recorder: reset audio engine" ||
               line == "Recorder: stop request can not working" || line == "Tracking: request failed") {
        first_.reset();
    } else if (line == "Recorder: state interrupted") {
        interrupted_ = true;
        if (!recorderMayFail_) broken("interrupted without a cause");
    } else if (line.starts_with("Recorder: state resumed")) {
        interrupted_ = false;
        disturbed(0s);
    }
}

void Ledger::handedOver(std::int64_t sequence) {
    ++handedOver_;
    waiting_.insert(sequence);
    unsettled_ = true;
    if (!numbersAreMixed_) checkNumber(sequence);
}

// The chunk that ends at 30 k s has the number k - 1, give or take half a period.
void Ledger::checkNumber(std::int64_t sequence) {
    if (!first_ && abandoned_.empty()) broken("a chunk without a recording");
    if (!first_) return;
    const auto nominal = *first_ + (sequence + 1) * kPeriod;
    const auto text = " (number " + std::to_string(sequence) + ")";
    if (last_ && sequence <= *last_) broken("a number repeated or out of order" + text);
    if (sequence > kLongest / kPeriod) broken("a recording of more than 24 hours" + text);
    if (now() < nominal - kPeriod / 2) broken("a number ahead of its time" + text);
    const bool quiet = calm(std::max(lastAt_, nanoseconds{now() - 2 * kPeriod}) - kPeriod);
    if (quiet && now() > nominal + kPeriod / 2 + kSlack) broken("a number behind its time" + text);
    if (quiet && sequence != last_.value_or(-1) + 1) broken("a number left out" + text);
    last_ = sequence;
    lastAt_ = now();
}

void Ledger::checkProgress() {
    if (!first_ || numbersAreMixed_) return;
    if (calm(lastAt_ - kPeriod) && now() - lastAt_ > kPeriod + kSlack && last_)
        broken("no chunk for " + std::to_string((now() - lastAt_) / 1s) + " s, and nothing happened");
}

void Ledger::checkSound(bool available) {
    if (!available || !first_ || numbersAreMixed_) soundCounted();
    if (now() - soundAt_ <= kDeaf) return;
    broken("frames to be had for " + std::to_string((now() - soundAt_) / 1s) + " s, and no chunk");
    soundCounted();
}

void Ledger::logLine(std::string_view line) {
    const bool whole = hasLogForm(line) && line.find('\n') == line.size() - 1;
    if (!whole) return broken("a log line is torn: " + std::string(line));
    line = line.substr(kForm.size(), line.size() - kForm.size() - 1);
    note("log: " + std::string(line));
    if (line == "W | tracking | [ST] already stopped") ++stoppedLines_;
    if (line.starts_with("E | recording | ChunkPublisher: cannot open") ||
        line.starts_with("E | recording | ChunkPublisher: cannot read") ||
        (line.starts_with("W | recording | ") && line.ends_with("chunk dropped")))
        ++publisherLines_;
    if (line.starts_with("E | recording | convert ERROR")) ++convertLines_;
    if (line.find("chunk dropped") != line.npos) {
        disturbed(0s);
        soundCounted();
    }
    if (line.starts_with("E | tracking | ") && !line.starts_with("E | tracking | request failed") &&
        !line.starts_with("E | tracking | delegate:") && !line.starts_with("E | tracking | cause: "))
        ++(abandoned_.empty() ? failureLines_ : lastWords_);
}

void Ledger::checkLogText(std::string_view text, std::string_view end) {
    if (tornLine_) return;
    while (!text.empty()) {
        const auto length = text.find(end);
        const auto line = text.substr(0, length);
        if (!hasLogForm(line) || line.find(" | ", kForm.size()) == line.npos || length == text.npos ||
            line.find(line.substr(0, 8), 8) != line.npos)
            return broken("a torn line in the log's text: " + std::string(line));
        text.remove_prefix(length + end.size());
    }
}

std::uint64_t Ledger::sent(const Sent& sent) {
    if (isLifecycle(sent.call)) sentLifecycle(sent);
    flights_.emplace(++nextFlight_, sent);
    return nextFlight_;
}

void Ledger::sentLifecycle(const Sent& sent) {
    for (const auto& [number, other] : flights_)
        if (isLifecycle(other.call) && other.owner == sent.owner)
            broken("two lifecycle requests beside each other");
    if (sent.call == Call::create) return;
    auto& session = sessions_[sent.session];
    if (sent.call == Call::close) {
        if (session.closing) broken("closed twice: " + sent.session);
        session.closing = true;
        return;
    }
    if (session.closing) broken("an upload behind the close of its session: " + sent.session);
    if (session.last && sent.sequence <= *session.last)
        broken("uploads out of order or twice: " + std::to_string(sent.sequence));
    session.last = sent.sequence;
    if (numbersAreMixed_) return;
    for (auto* place : {&waiting_, &excused_}) {
        const auto handed = place->find(sent.sequence);
        if (handed == place->end()) continue;
        place->erase(handed);
        return;
    }
    broken("an upload of what was not handed over");
}

void Ledger::answered(std::uint64_t flight, bool accepted) {
    const auto found = flights_.find(flight);
    if (found == flights_.end()) return broken("answered twice");
    const auto sent = found->second;
    flights_.erase(found);
    unsettled_ = true;
    if (sent.call == Call::close && !accepted) sessions_[sent.session].closing = false;
    if (deaf_.contains(sent.owner)) {
        if (sent.call == Call::mel) ++ended_;
    } else if (sent.call == Call::mel && accepted) {
        instants_[sent.owner].uploads.insert(sent.sequence);
    } else if (!accepted && (isLifecycle(sent.call) || sent.call == Call::analysis)) {
        instants_[sent.owner].failures.push_back(sent.call == Call::mel);
    }
}

void Ledger::givenUp(std::uint64_t flight) {
    flights_.erase(flight);
}

void Ledger::heardUpload(const std::string& owner, std::int64_t sequence) {
    auto& expected = instants_[owner].uploads;
    const auto found = expected.find(sequence);
    if (found == expected.end())
        return broken("didUpload without an accepted upload: " + std::to_string(sequence));
    expected.erase(found);
    lastUpload_ = now();
    ++ended_;
}

void Ledger::heardFailure(const std::string& owner, std::string_view description) {
    ++failuresHeard_;
    auto& failures = instants_[owner].failures;
    if (failures.empty()) {
        ++recorderFailures_;
        if (!recorderMayFail_ && !(over_ && description == "over24hours"))
            broken("didFail without a failure: " + std::string(description));
        return;
    }
    if (failures.front()) ++ended_;
    failures.pop_front();
}

void Ledger::askedToStart(const std::string& owner) {
    auto& ends = ends_[owner];
    ends.due = ends.fresh = true;
    unsettled_ = true;
}

void Ledger::heardEnd(const std::string& owner) {
    auto& ends = ends_[owner];
    if (!ends.due && !ends.maybe) broken("a final word without a start");
    ends.maybe = ends.fresh;
    ends.due = false;
}

void Ledger::disturbed(nanoseconds length) {
    disturbedUntil_ = std::max(disturbedUntil_, now() + length);
}

void Ledger::abandoned(const std::string& owner) {
    unsettled_ = true;
    abandoned_.insert(owner);
}

void Ledger::settle() {
    if (!std::exchange(unsettled_, false)) return;
    for (auto& [owner, instant] : instants_) {
        const bool deaf = deaf_.contains(owner);
        if (deaf) ended_ += instant.uploads.size();
        if ((!instant.uploads.empty() || !instant.failures.empty()) && !abandoned_.contains(owner) && !deaf)
            broken("an answer that the host has not heard of");
        instant = {};  // of an abandoned night each chunk has its line
    }
    if (!abandoned_.empty()) excused_.merge(waiting_);
    abandoned_.clear();
    for (auto& [owner, ends] : ends_) ends.fresh = false;
    if (waiting_.empty() || numbersAreMixed_) return;
    for (const auto& [number, flight] : flights_)
        if (isLifecycle(flight.call)) return;
    broken(std::to_string(waiting_.size()) + " chunks wait and no request is under way");
}

void Ledger::finish() {
    const auto differ = [this](const char* what, std::size_t a, std::size_t b, std::size_t more = 0) {
        const auto difference = a > b ? a - b : b - a;
        if (difference > unseenLines_ + more)
            broken(std::string(what) + ": " + std::to_string(a) + " and " + std::to_string(b));
    };
    differ("chunks converted, chunks accounted for", converted_, ended_ + stoppedLines_ + publisherLines_);
    differ("conversions failed, lines of them", conversionFailures_, convertLines_);
    if (deaf_.empty()) differ("failures told, lines of them", failuresHeard_, failureLines_, lastWords_);
    for (const auto& [owner, ends] : ends_)
        if (ends.due && !deaf_.contains(owner)) broken("the end of a night was not told to " + owner);
    if (!flights_.empty()) broken("requests in flight after the night");
}

}  // namespace Velmor::Nights
