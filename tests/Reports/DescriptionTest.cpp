#include "Records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Velmor {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(Description, OfAReport) {
    const auto report = read<Model::Report>(kReportJson);
    const std::string session =
        "ID: s1,\nState: CLOSED,\nStartTime: 2024-03-05T23:10:04Z,\nEndTime: 2024-03-05T23:00:00Z,\n"
        "UnexpectedEndTime: nil,\nCreatedTimezone: UTC,\nSleepStages: [0, 1, -1],\nBreathStages: [],\n"
        "SnoringStages: nil";
    EXPECT_EQ(report.session.description(), session);
    EXPECT_EQ(
        report.description(),
        "Timezone: Asia/Seoul,\nPeculiarities: [NEVER_SLEPT, NO_REALTIME_POLLING],\nMissingDataRatio: 0.25,\n"
        "Session: " +
            session + ",\nStat: " + report.stat->description());
}

TEST(Description, OfStatistics) {
    const auto json = changed(kReportJson, "2024-03-05T23:20:00Z", "0001-01-01T00:00:00Z");
    const auto text = read<Model::Report>(json).stat->description();
    EXPECT_THAT(text, StartsWith("SleepLatency: 1,\nWakeupLatency: 2,\nSleepTime: 0001-01-01T00:00:00Z,\n"));
    EXPECT_THAT(text, HasSubstr(",\nTimeInSleepPeriod: 11,\nTimeInREM: 12,\nTimeInLight: 13,\n"));
    EXPECT_THAT(text, HasSubstr(",\nRemRatio: 0.22,\n"));
    EXPECT_THAT(text, HasSubstr(",\nBreathingPattern: MILDLY_UNSTABLE_BREATH,\nBreathingIndex: 31.5,\n"));
    EXPECT_THAT(
        text,
        HasSubstr(",\nSleepCycleTime: [2024-03-06T00:00:00Z, 2024-03-06T01:30:00Z],\nWasoCount: 35,\n"));
}

TEST(Description, OfSessionLists) {
    EXPECT_EQ(read<Model::ReportList>(kListJson).sleepSessionList.at(1).description(),
              "sessionId: s2,\nstate: OPEN,\nsessionStartTime: 2024-03-06T23:10:04Z,\nsessionEndTime: nil,\n"
              "createdTimezone: UTC,\nunexpectedEndTime: nil,\nlastReceivedSeqNum: nil,\ntimeInBed: nil");
}

TEST(Description, OfAverages) {
    const auto average =
        read<Model::AverageReport>(changed(kAverageJson, "2024-02-29T22:00:00Z", "9999-12-31T23:59:59Z"));
    EXPECT_THAT(
        average.averageStats->description(),
        StartsWith("startTime: 22:00:00, \nendTime: 06:00:00,\nsleepTime: 22:15:00,\nwakeTime: 05:50:00, \n"
                   "sleepLatency: 5,\nwakeupLatency: 6,\ntimeInBed: 7, \ntimeInSleepPeriod: 8,\n"
                   "timeInSleep: 9, \ntimeInWake: 10,\ntimeInLight: nil,\n"));
    EXPECT_THAT(average.sleptSessions.at(0).description(),
                StartsWith("id: s2,\ncreatedTimezone: UTC,\nstartTime: 9999-12-31 23:59:59,\n"));
    EXPECT_EQ(average.description(),
              "Period: [timezone: UTC,\nstartDate: 2024-02-29,\nendDate: 2024-03-06]\nPeculiarities: "
              "[IN_PROGRESS]\n"
              "AverageStats: [" +
                  average.averageStats->description() +
                  "]\nNeverSleptSessions: [id: s0,\nstartTime: 2024-02-28 22:00:00,\n"
                  "endTime: 2024-02-28 23:00:00,\ncompletedTime: 2024-02-28 23:01:00]\nSleptSessions: [" +
                  average.sleptSessions.at(0).description() + "]");
}

}  // namespace
}  // namespace Velmor
