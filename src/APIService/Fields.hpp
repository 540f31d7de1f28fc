// The names of the records' fields, listed once: decoding, encoding, descriptions and the command's tables
// and JSON all go by these lists.
#pragma once

#include <cstddef>

#include <Velmor/Model.hpp>

namespace Velmor {

/// The fields of a record in order. `Fields<R>::each(visit)` calls `visit("name", &R::name)` for each.
template <class R>
struct Fields;

template <class R>
concept Record = requires {
    Fields<R>::each([](auto...) {});
};

template <Record R>
constexpr std::size_t fieldCount() {
    std::size_t count = 0;
    Fields<R>::each([&count](auto...) { ++count; });
    return count;
}

// VELMOR_FIELDS(R, name...) defines Fields<R>. The preprocessor knows no loop: VELMOR_VISIT expands to one
// name and to itself for the rest, which is expanded each time that VELMOR_REPEAT has its result scanned
// again. It does so often enough for 80 names.
#define VELMOR_PARENTHESES ()
#define VELMOR_REPEAT(...) VELMOR_SCAN_3(VELMOR_SCAN_3(VELMOR_SCAN_3(__VA_ARGS__)))
#define VELMOR_SCAN_3(...) VELMOR_SCAN_2(VELMOR_SCAN_2(VELMOR_SCAN_2(__VA_ARGS__)))
#define VELMOR_SCAN_2(...) VELMOR_SCAN_1(VELMOR_SCAN_1(VELMOR_SCAN_1(__VA_ARGS__)))
#define VELMOR_SCAN_1(...) VELMOR_SCAN(VELMOR_SCAN(VELMOR_SCAN(__VA_ARGS__)))
#define VELMOR_SCAN(...) __VA_ARGS__
#define VELMOR_VISIT(name, ...) \
    visit(#name, &Self::name);  \
    __VA_OPT__(VELMOR_VISIT_LATER VELMOR_PARENTHESES(__VA_ARGS__))
#define VELMOR_VISIT_LATER() VELMOR_VISIT
#define VELMOR_FIELDS(R, ...)                                          \
    template <>                                                        \
    struct Fields<R> {                                                 \
        using Self = R;                                                \
        template <class Visitor>                                       \
        static constexpr void each([[maybe_unused]] Visitor&& visit) { \
            __VA_OPT__(VELMOR_REPEAT(VELMOR_VISIT(__VA_ARGS__)))       \
        }                                                              \
    };

VELMOR_FIELDS(Model::Stat, sleepLatency, wakeupLatency, sleepTime, wakeTime, lightLatency, deepLatency,
              remLatency, timeInWake, timeInSleep, timeInBed, timeInSleepPeriod, timeInRem, timeInLight,
              timeInDeep, timeInStableBreath, timeInUnstableBreath, timeInSnoring, timeInNoSnoring,
              sleepEfficiency, wakeRatio, sleepRatio, remRatio, lightRatio, deepRatio, stableBreathRatio,
              unstableBreathRatio, snoringRatio, noSnoringRatio, unstableBreathCount, breathingPattern,
              breathingIndex, sleepCycle, sleepCycleCount, sleepCycleTime, wasoCount, longestWaso, sleepIndex,
              snoringCount)
VELMOR_FIELDS(Model::Session, id, state, startTime, endTime, unexpectedEndTime, createdTimezone, sleepStages,
              breathStages, snoringStages)
VELMOR_FIELDS(Model::Report, timezone, peculiarities, missingDataRatio, session, stat)
VELMOR_FIELDS(Model::SleepSession, sessionId, state, sessionStartTime, sessionEndTime, createdTimezone,
              unexpectedEndTime, lastReceivedSeqNum, timeInBed)
VELMOR_FIELDS(Model::ReportList, timezone, sleepSessionList)
VELMOR_FIELDS(Model::Period, timezone, startDate, endDate)
VELMOR_FIELDS(Model::AverageStats, startTime, endTime, sleepTime, wakeTime, sleepLatency, wakeupLatency,
              timeInBed, timeInSleepPeriod, timeInSleep, timeInWake, timeInLight, timeInDeep, timeInRem,
              timeInStableBreath, timeInUnstableBreath, timeInSnoring, timeInNoSnoring, sleepEfficiency,
              wakeRatio, sleepRatio, lightRatio, deepRatio, remRatio, stableBreathRatio, unstableBreathRatio,
              snoringRatio, noSnoringRatio, breathingIndex, wasoCount, longestWaso, unstableBreathCount,
              sleepCycleCount, snoringCount)
VELMOR_FIELDS(Model::NeverSleptSession, id, startTime, endTime, completedTime)
VELMOR_FIELDS(Model::SleptSession, id, createdTimezone, startTime, endTime, completedTime, sleepEfficiency,
              sleepLatency, wakeupLatency, lightLatency, deepLatency, remLatency, sleepTime, wakeTime,
              timeInWake, timeInSleepPeriod, timeInSleep, timeInBed, timeInRem, timeInLight, timeInDeep,
              timeInStableBreath, timeInUnstableBreath, timeInSnoring, timeInNoSnoring, wakeRatio, sleepRatio,
              remRatio, lightRatio, deepRatio, stableBreathRatio, unstableBreathRatio, snoringRatio,
              noSnoringRatio, unstableBreathCount, breathingPattern, breathingIndex, sleepCycle,
              sleepCycleCount, wasoCount, longestWaso, snoringCount)
VELMOR_FIELDS(Model::AverageReport, period, peculiarities, averageStats, neverSleptSessions, sleptSessions)
VELMOR_FIELDS(Model::SessionInfo, sessionId, inferenceType, service, state, startTime, endTime, completeTime)
VELMOR_FIELDS(Model::User, userId, lastSessionInfo)
VELMOR_FIELDS(Model::CreateSession, sessionId)
VELMOR_FIELDS(Model::ErrorBody, errorCode)
VELMOR_FIELDS(Model::UploadData)
VELMOR_FIELDS(Model::CloseSession)
VELMOR_FIELDS(Model::DeleteUser)
VELMOR_FIELDS(Model::DeleteReport)

}  // namespace Velmor
