#include "APIService/Iso8601.hpp"
#include "Records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Velmor {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

TEST(Records, FieldsAreAsManyAsPromised) {
    EXPECT_EQ(fieldCount<Model::Stat>(), 38U);
    EXPECT_EQ(fieldCount<Model::AverageStats>(), 33U);
    EXPECT_EQ(fieldCount<Model::SleptSession>(), 41U);
}

TEST(Records, AReportIsReadWhole) {
    const auto report = read<Model::Report>(kReportJson);
    EXPECT_THAT(report.peculiarities,
                ElementsAre(Model::Peculiarity::neverSlept, Model::Peculiarity::noRealtimePolling));
    EXPECT_EQ(report.missingDataRatio, 0.25F);
    EXPECT_EQ(report.session.state, Model::State::closed);
    EXPECT_EQ(report.session.startTime, WallTime{std::chrono::milliseconds(1'709'680'204'250)});
    EXPECT_EQ(report.session.endTime, Iso8601::parse("2024-03-05T23:00:00Z"));
    EXPECT_FALSE(report.session.unexpectedEndTime);
    EXPECT_THAT(report.session.sleepStages.value(), ElementsAre(0, 1, -1));
    EXPECT_THAT(report.session.breathStages.value(), IsEmpty());
    EXPECT_FALSE(report.session.snoringStages);
    EXPECT_FALSE(read<Model::Report>(changed(kReportJson, "\"stat\"", "\"other\"")).stat);
}

// Each number in the answer is the place of its field, so a field that takes another's key shows.
TEST(Records, All38StatisticsAreRead) {
    const auto stat = read<Model::Report>(kReportJson).stat.value();
    std::int64_t place = 0;
    Model::Stat::eachField([&](const char* name, auto member) {
        ++place;
        const auto& value = stat.*member;
        ASSERT_TRUE(value.has_value()) << name;
        if constexpr (std::is_same_v<decltype(*value), const std::int64_t&>) {
            EXPECT_EQ(*value, place) << name;
        }
    });
    EXPECT_EQ(stat.sleepEfficiency, 0.19F);
    EXPECT_EQ(stat.snoringRatio, 0.27F);
    EXPECT_EQ(stat.noSnoringRatio, 1.0F);
    EXPECT_EQ(stat.breathingPattern, Model::BreathingPattern::mildlyUnstableBreath);
    EXPECT_EQ(stat.breathingIndex, 31.5F);
    EXPECT_EQ(stat.sleepCycleTime->at(1), Iso8601::parse("2024-03-06T01:30:00Z"));
    EXPECT_EQ(read<Model::Stat>("{}"), Model::Stat{});
}

TEST(Records, SessionsAndAveragesWithEveryOptionalAbsentAndPresent) {
    const auto list = read<Model::ReportList>(kListJson).sleepSessionList;
    EXPECT_EQ(list.at(0).lastReceivedSeqNum, 839);
    EXPECT_FALSE(list.at(1).lastReceivedSeqNum || list.at(1).sessionEndTime || list.at(1).timeInBed);

    const auto average = read<Model::AverageReport>(kAverageJson);
    EXPECT_EQ(average.period.startDate, std::chrono::sys_days(std::chrono::year(2024) / 2 / 29));
    EXPECT_EQ(average.averageStats->wakeTime, "05:50:00");
    EXPECT_FALSE(average.averageStats->timeInLight);
    EXPECT_EQ(average.sleptSessions.at(0).timeInBed, 4);
    const auto bare = read<Model::AverageReport>(
        R"({"period":{"timezone":"","start_date":"2024-01-01","end_date":"2024-01-01"},)"
        R"("peculiarities":[],"never_slept_sessions":[],"slept_sessions":[]})");
    EXPECT_FALSE(bare.averageStats);
    EXPECT_THAT(bare.sleptSessions, IsEmpty());

    std::string full = kSleptJson;
    full.pop_back();
    full += R"(,"sleep_time":"2024-02-29T22:10:00Z","wake_time":"2024-03-01T05:50:00Z",)"
            R"("breathing_pattern":"STABLE_BREATH")";
    Model::SleptSession::eachField([&](const char* name, auto) {
        if (const auto key = "\"" + snakeCase(name) + "\""; full.find(key) == std::string::npos)
            full += "," + key + ":77";
    });
    const auto slept = read<Model::SleptSession>(full + "}");
    Model::SleptSession::eachField([&](const char* name, auto member) {
        if constexpr (requires { (slept.*member).has_value(); }) {
            EXPECT_TRUE((slept.*member).has_value()) << name;
        }
    });
    EXPECT_EQ(slept.breathingIndex, 77.0F);
    EXPECT_EQ(slept.snoringCount, 77);
}

TEST(Records, ErrorsNameThePlace) {
    const std::vector<std::tuple<const char*, const char*, const char*>> reports{
        {"\"timezone\"", "\"zone\"", "cannot decode result.timezone: is missing"},
        {"\"Asia/Seoul\"", "null", "cannot decode result.timezone: expected a string, found null"},
        {"0.25", "\"0.25\"", "cannot decode result.missing_data_ratio: expected a number, found a string"},
        {"NO_REALTIME_POLLING", "SLEPT",
         "cannot decode result.peculiarities[1]: has an unknown value: \"SLEPT\""},
        {"CLOSED", "closed", "cannot decode result.session.state: has an unknown value: \"closed\""},
        {"-1]", "1.5]",
         "cannot decode result.session.sleep_stages[2]: expected an integer, found a fraction"},
        {"2024-03-05T23:20:00Z", "yesterday",
         "cannot decode result.stat.sleep_time: is no date: \"yesterday\""},
        {"2024-03-06T01:30:00Z", "2024-03-06",
         "cannot decode result.stat.sleep_cycle_time[1]: is no date: \"2024-03-06\""},
        {"{\"id\"", "[{\"id\"", "cannot decode: not JSON at byte"}};
    for (const auto& [from, to, expected] : reports)
        EXPECT_THAT(readError<Model::Report>(changed(kReportJson, from, to)), StartsWith(expected));
    EXPECT_EQ(readError<Model::ReportList>(changed(kListJson, "\"OPEN\"", "7")),
              "cannot decode result.sleep_session_list[1].state: expected a string, found an integer");
    EXPECT_EQ(readError<Model::AverageReport>(changed(kAverageJson, "2024-02-29", "2024-02-29T00:00:00Z")),
              "cannot decode result.period.start_date: is no day: \"2024-02-29T00:00:00Z\"");
    EXPECT_EQ(readError<Model::AverageReport>(changed(kAverageJson, "\"wake_ratio\"", "\"w\"")),
              "cannot decode result.average_stats.wake_ratio: is missing");
    EXPECT_EQ(readError<Model::Session>("{}"), "cannot decode result.id: is missing");
    EXPECT_EQ(
        readError<Model::Report>(changed(kReportJson, "CLOSED", std::string(59, 'x') + "\xC3\xA9tail")),
        "cannot decode result.session.state: has an unknown value: \"" + std::string(59, 'x') + "...\"");
}

}  // namespace
}  // namespace Velmor
