#include "Track/Summary.hpp"

#include "Json.hpp"
#include "Reports/RecordJson.hpp"
#include "Values.hpp"

#include <array>
#include <cmath>
#include <cstdio>

namespace VelmorApp {
namespace {

std::int64_t count(std::size_t size) {
    return static_cast<std::int64_t>(size);
}

class Lines {
  public:
    void add(const std::string& label, const std::string& value) {
        if (!value.empty()) text_ += "  " + label + std::string(16 - label.size(), ' ') + value + "\n";
    }
    std::string str() const { return text_; }

  private:
    std::string text_;
};

std::string headline(const NightBooks& books) {
    if (!books.created) return "No session was opened.";
    if (!books.closed) return "The session was not closed.";
    if (!books.missing().empty()) return "The night is closed, but chunks are missing.";
    return "The night is at the service.";
}

std::string chunksText(const NightBooks& books) {
    if (books.handedOver.empty() && books.dropped == 0)
        return books.created ? "none: the sound is shorter than one chunk of 30 s" : "";
    std::string text = std::to_string(count(books.handedOver.size()) + books.dropped) + " recorded, " +
                       std::to_string(books.uploaded.size()) + " uploaded";
    if (const auto missing = books.missing(); !missing.empty())
        text += ", " + std::to_string(missing.size()) + " failed (" + rangesText(missing) + ")";
    if (books.dropped > 0) text += ", " + std::to_string(books.dropped) + " dropped for want of a session";
    return text;
}

std::string timesText(const NightBooks& books) {
    if (!books.began || !books.ended) return {};
    return localTimeText(*books.began) + " to " + localTimeText(*books.ended) + "  (" +
           durationText(*books.ended - *books.began) + ")";
}

std::string interruptionsText(const NightBooks& books) {
    std::string text;
    for (const Stretch& stretch : books.interruptions) {
        if (!text.empty()) text += ", ";
        text += durationText(stretch.to - stretch.from) + " after " + durationText(stretch.from);
    }
    return text;
}

std::vector<std::int64_t> skipped(const NightBooks& books) {
    std::vector<std::int64_t> numbers;
    std::int64_t next = books.handedOver.empty() ? 0 : books.handedOver.front();
    for (const std::int64_t number : books.handedOver)
        for (; next <= number; ++next)
            if (next != number) numbers.push_back(next);
    return numbers;
}

std::string speedText(const NightTotals& totals) {
    const double took = std::chrono::duration<double>(totals.took).count();
    const double factor = took > 0.0 ? totals.audioSeconds / took : 0.0;
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(),
                  factor < 10.0 ? "%.1f times as fast as it sounds" : "%.0f times as fast as it sounds",
                  factor);
    return durationText(totals.took) + ", " + text.data();
}

std::string analysisText(const NightBooks& books) {
    if (!books.analysisFailure.empty()) return "not there yet: " + books.analysisFailure;
    if (!books.analysis) return {};
    const auto& session = *books.analysis;
    std::string text = "session " + std::string(rawValue(session.state));
    if (session.sleepStages) text += ", " + std::to_string(session.sleepStages->size()) + " sleep stages";
    return text;
}

void addNight(Lines& lines, const NightBooks& books, const NightTotals& totals) {
    lines.add("Session", books.sessionId);
    lines.add("User", books.userId);
    lines.add("Night", timesText(books));
    lines.add("Sound", durationText(Nanoseconds{std::llround(totals.audioSeconds * 1e9)}));
    lines.add("Chunks", chunksText(books));
    lines.add("Interrupted", interruptionsText(books));
    if (const auto numbers = skipped(books); !numbers.empty())
        lines.add("Skipped", "no chunk for " + rangesText(numbers) + ": nothing was heard");
    lines.add("Analysis", analysisText(books));
    lines.add("Took", speedText(totals));
}

}  // namespace

std::string summaryJson(const NightBooks& books, const NightTotals& totals) {
    return jsonLine({{"event", "summary"},
                     {"userId", books.userId},
                     {"sessionId", books.sessionId},
                     {"handedOver", count(books.handedOver.size())},
                     {"uploaded", count(books.uploaded.size())},
                     {"failed", count(books.missing().size())},
                     {"dropped", books.dropped},
                     {"missing", valueJson(books.missing())},
                     {"skipped", valueJson(skipped(books))},
                     {"interruptions", count(books.interruptions.size())},
                     {"audioSeconds", totals.audioSeconds},
                     {"closed", books.closed},
                     {"startTime", valueJson(books.began)},
                     {"endTime", valueJson(books.ended)},
                     {"tookSeconds", std::chrono::duration<double>(totals.took).count()},
                     {"service", totals.service},
                     {"exitCode", static_cast<std::int64_t>(books.code)}});
}

std::string summaryText(const NightBooks& books, const NightTotals& totals) {
    Lines lines;
    if (books.created) addNight(lines, books, totals);
    lines.add("Service", totals.service);
    lines.add("Its data", totals.serviceDirectory);
    lines.add("Log", totals.log);
    return headline(books) + "\n\n" + lines.str();
}

}  // namespace VelmorApp
