// Descriptions of session lists and averages.
#include "APIService/Iso8601.hpp"
#include "Reports/Describe.hpp"

namespace Velmor::Model {
namespace {

// Applications take these texts apart, so the four blanks have to stay.
std::string_view averageSeparator(std::string_view name) {
    const bool blank =
        name == "endTime" || name == "sleepLatency" || name == "timeInSleepPeriod" || name == "timeInWake";
    return blank ? ", \n" : ",\n";
}

constexpr DescriptionStyle kStyle{labelAsName, commaAndNewline, Iso8601::format};
constexpr DescriptionStyle kAverageStyle{labelAsName, averageSeparator, Iso8601::format};
constexpr DescriptionStyle kSessionStyle{labelAsName, commaAndNewline, Iso8601::formatPlain};

}  // namespace

std::string SleepSession::description() const {
    return describe(*this, kStyle);
}

std::string ReportList::description() const {
    return describe(*this, kStyle);
}

std::string Period::description() const {
    return describe(*this, kStyle);
}

std::string AverageStats::description() const {
    return describe(*this, kAverageStyle);
}

std::string NeverSleptSession::description() const {
    return describe(*this, kSessionStyle);
}

std::string SleptSession::description() const {
    return describe(*this, kSessionStyle);
}

std::string AverageReport::description() const {
    std::string text = "Period: [" + period.description() + "]\nPeculiarities: [";
    describeElements(text, peculiarities, kStyle);
    text += "]\nAverageStats: [";
    describeValue(text, averageStats, kStyle);
    text += "]\nNeverSleptSessions: [";
    describeElements(text, neverSleptSessions, kStyle);
    text += "]\nSleptSessions: [";
    describeElements(text, sleptSessions, kStyle);
    return text += "]";
}

std::string DeleteReport::description() const {
    return "";
}

}  // namespace Velmor::Model
