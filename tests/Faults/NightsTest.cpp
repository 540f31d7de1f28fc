// Each kind of fault that the simulator draws, once, in a night without any other: what the host hears then.
#include "Table.hpp"
#include "sim/Kinds.hpp"
#include "sim/Night.hpp"

#include <array>
#include <gmock/gmock.h>
#include <set>

namespace Velmor::Faults {
namespace {

using namespace std::chrono_literals;

struct Row {
    const char* name;
    int at;       ///< seconds; the host starts at 10
    int length;   ///< milliseconds
    int variant;  ///< of the forms that a kind has
    const char* then;
};

constexpr auto kRows = std::to_array<Row>(
    {{"interruption", 115, 20000, 0, "didInterrupt didResume 3-10"},
     {"interruption-unended", 115, 20000, 0, "didInterrupt"},
     {"began-twice", 115, 20000, 0, "didInterrupt didResume 3-10"},
     {"ended-twice", 115, 20000, 0, "didInterrupt didResume didResume 3-10"},
     {"ended-first", 115, 20000, 0, "didResume 3-10"},
     {"buffers-lost", 115, 20000, 39, "didInterrupt didResume 3 5-10"},
     {"buffers-stop", 115, 20000, 0, "didInterrupt didResume 3-10"},
     {"format-change", 115, 20000, 0, "didFail didClose trackingEnded | analysing"},
     {"format-unfit", 8, 20000, 7, "didFail trackingEnded |"},
     {"configuration-change", 115, 20000, 0, "3-10"},
     {"route-change", 115, 20000, 0, "3-10"},
     {"media-reset", 115, 20000, 0, "didInterrupt didResume 3-10"},
     {"activation-fails", 115, 20000, 0, "didInterrupt didResume didFail didResume 3-10"},
     {"start-fails", 115, 20000, 1, "didInterrupt didResume didFail didClose trackingEnded | analysing"},
     {"configuring-fails", 115, 20000, 2, "didInterrupt didResume didFail didResume 3-10"},
     {"odd-buffers", 115, 20000, 3, "didInterrupt didResume 3-10"},
     {"permission/refused", 8, 20000, 0, "micPermissionWasDenied trackingEnded |"},
     {"permission/never-answered", 8, 20000, 16, "| trackingEnded"},
     {"permission/granted-twice", 8, 20000, 7, "didCreate 0-10"},
     {"status", 115, 40000, 408, "didFail 4-10"},
     {"upload-refused/403", 115, 40000, 0, "didFail trackingEnded |"},
     {"upload-refused/404-and-garbage", 115, 40000, 1, "didFail 4-10"},
     {"garbage", 115, 40000, 1, "didFail 4-10"},
     {"silence", 115, 40000, 0, "didFail 4-10"},
     {"reset", 115, 40000, 0, "didFail 4-10"},
     {"slow", 115, 40000, 6000, "3-10"},
     {"create-fails", 8, 40000, 0, "didFail trackingEnded |"},
     {"close-fails", 115, 600000, 0, "3-10 | didFail trackingEnded"},
     {"file-fault", 115, 40000, 758, "didFail didFail 5-10"},
     {"operation-fails", 0, 400, 1,
      "userDidJoin didCreate 0-2 didFail didFail 5-10 | 11 didClose trackingEnded analysing"},
     {"temporary-gone/removed", 115, 20000, 0, "5-10"},
     {"temporary-gone/replaced", 115, 20000, 1, "5-10"},
     {"conversion-fails", 115, 0, 0, "4-10"},
     {"wall-step/year-ahead", 115, 0, 5, "3-10"},
     {"wall-step/year-back", 115, 0, 11, "3-10"},
     {"zone-change", 115, 0, 24, "3-10"},
     {"suspend", 115, 95000, 0, "didInterrupt didResume 3 6-10"},
     {"stall", 115, 45000, 0, "3-10"},
     {"stop", 115, 0, 0, "didClose trackingEnded | analysing"},
     {"start", 115, 0, 0, "3-10"},
     {"stop-start", 115, 5000, 0,
      "didClose trackingEnded didCreate 0-6 | 7 didClose trackingEnded analysing"},
     {"stop-with-backlog", 115, 0, 0, "3 didClose trackingEnded | analysing"},
     {"resume", 115, 0, 0, "didResume 3-10"},
     {"analysis", 115, 0, 0, "didFail 3-10"},
     {"status-asked", 115, 0, 0, "3-10"},
     {"new-configuration", 115, 0, 0, "trackingEnded userDidJoin |"},
     {"new-manager", 115, 0, 0, "trackingEnded |"},
     // The host keeps the former manager and ends its night with the new one only: the former records on
     // until it is released, 5 min 40 s later.
     {"two-managers", 115, 0, 0, "3-10 | 11-21 trackingEnded"},
     {"delete-user", 115, 0, 0, "userDidDelete 3-10"},
     {"recorder-beside", 115, 40000, 0, "3 recorder: recordedData 4-10"},
     {"delegate-acts/throws", 115, 0, 0, "3-10"},
     {"delegate-call/stops-in-upload", 115, 0, 402, "3 didClose trackingEnded | analysing"},
     {"query", 115, 0, 0, "reports: completion 3-10"},
     {"debug-delegate-throws", 115, 0, 0, "3-10"}});

/// From the fault on: the chunks that were confirmed, and between them what else the host heard; a bar where
/// it ends its night, unless what follows is the usual: the session is closed, the night is over, and there
/// is no analysis yet.
std::string heard(const std::vector<std::string>& trace) {
    constexpr std::string_view kUpload = "sequence = ", kHost = "  host: ",
                               kUsual = " | didClose trackingEnded analysing";
    std::string all;
    std::int64_t first = -1, last = -1;
    const auto flush = [&] {
        if (first >= 0) all += ' ' + std::to_string(first) + (last > first ? '-' + std::to_string(last) : "");
        first = -1;
    };
    auto line = trace.begin();
    while (line != trace.end() && line->find("  FAULT ") == line->npos) ++line;
    for (; line != trace.end(); ++line) {
        const auto host = line->find(kHost);
        if (line->find("Session uploaded") != line->npos) {
            const auto number = std::stoll(line->substr(line->find(kUpload) + kUpload.size()));
            if (first >= 0 && number != last + 1) flush();
            if (first < 0) first = number;
            last = number;
        } else if (line->ends_with("  the night ends") ||
                   (host != line->npos && !line->ends_with("didUpload"))) {
            flush();
            all += ' ' + (host == line->npos ? "|" : line->substr(host + kHost.size()));
        }
    }
    if (all.ends_with(kUsual)) all.resize(all.size() - kUsual.size());
    return all.empty() ? all : all.substr(1);
}

const Nights::Kind& kindOf(std::string_view row) {
    row = row.substr(0, row.find('/'));
    for (const auto& kind : Nights::kinds())
        if (row == kind.name) return kind;
    throw std::runtime_error("the simulator knows no such kind: " + std::string(row));
}

TEST(NightFaults, EachKindOnce) {
    std::set<std::string_view> seen;
    for (const auto& row : kRows) {
        const auto& kind = kindOf(row.name);
        seen.insert(kind.name);
        const bool audio =
            kind.group == Nights::Group::storage;  // what is lost with a file shows in the sound
        const Nights::Plan plan{1, audio, 6min, {{row.at * 1s, &kind, row.length, row.variant}}};
        const auto outcome = Nights::Night(plan, true).run();
        EXPECT_THAT(outcome.violations, testing::IsEmpty()) << row.name;
        EXPECT_EQ(heard(outcome.trace), row.then) << row.name;
    }
    EXPECT_EQ(seen.size(), Nights::kinds().size());
}

}  // namespace

Names nightNames() {
    return namesOf(kRows);
}

}  // namespace Velmor::Faults
