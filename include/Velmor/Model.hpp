/// The records in which the service's answers reach the application. All are plain values. Besides its fields
/// each has
///   description()       its fields as text, labelled, one to a line, in UTC
///   eachField(visitor)  calls `visitor("name", &Record::name)` for each field in order, so that tables and
///                       serialisers need no list of their own
/// An empty optional is a field that the service left out or sent as null.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <Velmor/Export.hpp>

namespace Velmor::Model {

/// Of a session.
enum class State { open, closed, complete };

/// What keeps an analysis from being complete.
enum class Peculiarity {
    inProgress,
    neverSlept,
    tooShortForAnalysis,
    tooLongForAnalysis,
    tooManyDefectsInSleepStages,
    noBreathingStability,
    noRealtimePolling
};

enum class BreathingPattern {
    stableBreath,
    mildlyUnstableBreath,
    moderatelyUnstableBreath,
    severelyUnstableBreath
};

/// By start of the session.
enum class OrderBy { ascending, descending };

/// The texts that stand for the cases on the wire and in descriptions, for instance "CLOSED", "ASC".
VELMOR_API std::string_view rawValue(State state);
VELMOR_API std::string_view rawValue(Peculiarity peculiarity);
VELMOR_API std::string_view rawValue(BreathingPattern pattern);
VELMOR_API std::string_view rawValue(OrderBy order);

/// The case that a text stands for; none when it is no such text. `Enumeration` is one of the above.
template <class Enumeration>
std::optional<Enumeration> fromRawValue(std::string_view text);
template <>
VELMOR_API std::optional<State> fromRawValue(std::string_view text);
template <>
VELMOR_API std::optional<Peculiarity> fromRawValue(std::string_view text);
template <>
VELMOR_API std::optional<BreathingPattern> fromRawValue(std::string_view text);
template <>
VELMOR_API std::optional<OrderBy> fromRawValue(std::string_view text);

using Int = std::int64_t;
using Float = float;
using String = std::string;
/// A point in time to the microsecond, UTC without leap seconds; what the service wrote finer is dropped.
/// Holds every date of the years 0 to 9999, which a WallTime, whose nanoseconds end in 2262, does not:
/// services mark "never" by year 1 or 9999.
using Date = std::chrono::sys_time<std::chrono::microseconds>;
/// A calendar day, as the midnight UTC at which it begins.
using Day = std::chrono::sys_days;
template <class T>
using Optional = std::optional<T>;
template <class T>
using List = std::vector<T>;

// A record's fields are listed once, in VELMOR_FIELDS; VELMOR_RECORD makes the struct of them.
#define VELMOR_RECORD_MEMBER(Type, name) Type name{};
#define VELMOR_RECORD_VISIT(Type, name) visitor(#name, &Self::name);
#define VELMOR_RECORD(Name)                                                   \
    struct Name {                                                             \
        VELMOR_FIELDS(VELMOR_RECORD_MEMBER)                                   \
                                                                              \
        VELMOR_API std::string description() const;                           \
        bool operator==(const Name&) const = default;                         \
        template <class Visitor>                                              \
        static constexpr void eachField([[maybe_unused]] Visitor&& visitor) { \
            using Self [[maybe_unused]] = Name;                               \
            VELMOR_FIELDS(VELMOR_RECORD_VISIT)                                \
        }                                                                     \
    };

// clang-format off

#define VELMOR_FIELDS(field)                              \
    field(Optional<Int>, sleepLatency)                    \
    field(Optional<Int>, wakeupLatency)                   \
    field(Optional<Date>, sleepTime)                      \
    field(Optional<Date>, wakeTime)                       \
    field(Optional<Int>, lightLatency)                    \
    field(Optional<Int>, deepLatency)                     \
    field(Optional<Int>, remLatency)                      \
    field(Optional<Int>, timeInWake)                      \
    field(Optional<Int>, timeInSleep)                     \
    field(Optional<Int>, timeInBed)                       \
    field(Optional<Int>, timeInSleepPeriod)               \
    field(Optional<Int>, timeInRem)                       \
    field(Optional<Int>, timeInLight)                     \
    field(Optional<Int>, timeInDeep)                      \
    field(Optional<Int>, timeInStableBreath)              \
    field(Optional<Int>, timeInUnstableBreath)            \
    field(Optional<Int>, timeInSnoring)                   \
    field(Optional<Int>, timeInNoSnoring)                 \
    field(Optional<Float>, sleepEfficiency)               \
    field(Optional<Float>, wakeRatio)                     \
    field(Optional<Float>, sleepRatio)                    \
    field(Optional<Float>, remRatio)                      \
    field(Optional<Float>, lightRatio)                    \
    field(Optional<Float>, deepRatio)                     \
    field(Optional<Float>, stableBreathRatio)             \
    field(Optional<Float>, unstableBreathRatio)           \
    field(Optional<Float>, snoringRatio)                  \
    field(Optional<Float>, noSnoringRatio)                \
    field(Optional<Int>, unstableBreathCount)             \
    field(Optional<BreathingPattern>, breathingPattern)   \
    field(Optional<Float>, breathingIndex)                \
    field(Optional<Int>, sleepCycle)                      \
    field(Optional<Int>, sleepCycleCount)                 \
    field(Optional<List<Date>>, sleepCycleTime)           \
    field(Optional<Int>, wasoCount)                       \
    field(Optional<Int>, longestWaso)                     \
    field(Optional<Int>, sleepIndex)                      \
    field(Optional<Int>, snoringCount)
/// The figures of one night. Latencies and times are durations as the service counts them.
VELMOR_RECORD(Stat)
#undef VELMOR_FIELDS

#define VELMOR_FIELDS(field)                              \
    field(String, id)                                     \
    field(State, state)                                   \
    field(Date, startTime)                                \
    field(Optional<Date>, endTime)                        \
    field(Optional<Date>, unexpectedEndTime)              \
    field(String, createdTimezone)                        \
    field(Optional<List<Int>>, sleepStages)               \
    field(Optional<List<Int>>, breathStages)              \
    field(Optional<List<Int>>, snoringStages)
/// One session. `unexpectedEndTime` is set when it ended without being closed; the stages are one code for
/// each epoch.
VELMOR_RECORD(Session)
#undef VELMOR_FIELDS

#define VELMOR_FIELDS(field)                              \
    field(String, timezone)                               \
    field(List<Peculiarity>, peculiarities)               \
    field(Float, missingDataRatio)                        \
    field(Session, session)                               \
    field(Optional<Stat>, stat)
/// The analysis of one session.
VELMOR_RECORD(Report)
#undef VELMOR_FIELDS

#define VELMOR_FIELDS(field)                              \
    field(String, sessionId)                              \
    field(State, state)                                   \
    field(Date, sessionStartTime)                         \
    field(Optional<Date>, sessionEndTime)                 \
    field(String, createdTimezone)                        \
    field(Optional<Date>, unexpectedEndTime)              \
    field(Optional<Int>, lastReceivedSeqNum)              \
    field(Optional<Int>, timeInBed)
/// One entry of a list of sessions. `lastReceivedSeqNum` is the last chunk that the service received.
VELMOR_RECORD(SleepSession)
#undef VELMOR_FIELDS

#define VELMOR_FIELDS(field)                              \
    field(String, timezone)                               \
    field(List<SleepSession>, sleepSessionList)
VELMOR_RECORD(ReportList)
#undef VELMOR_FIELDS

#define VELMOR_FIELDS(field)                              \
    field(String, timezone)                               \
    field(Day, startDate)                                 \
    field(Day, endDate)
/// The days that an average covers.
VELMOR_RECORD(Period)
#undef VELMOR_FIELDS

#define VELMOR_FIELDS(field)                              \
    field(String, startTime)                              \
    field(String, endTime)                                \
    field(String, sleepTime)                              \
    field(String, wakeTime)                               \
    field(Int, sleepLatency)                              \
    field(Int, wakeupLatency)                             \
    field(Int, timeInBed)                                 \
    field(Int, timeInSleepPeriod)                         \
    field(Int, timeInSleep)                               \
    field(Int, timeInWake)                                \
    field(Optional<Int>, timeInLight)                     \
    field(Optional<Int>, timeInDeep)                      \
    field(Optional<Int>, timeInRem)                       \
    field(Optional<Int>, timeInStableBreath)              \
    field(Optional<Int>, timeInUnstableBreath)            \
    field(Optional<Int>, timeInSnoring)                   \
    field(Optional<Int>, timeInNoSnoring)                 \
    field(Float, sleepEfficiency)                         \
    field(Float, wakeRatio)                               \
    field(Float, sleepRatio)                              \
    field(Optional<Float>, lightRatio)                    \
    field(Optional<Float>, deepRatio)                     \
    field(Optional<Float>, remRatio)                      \
    field(Optional<Float>, stableBreathRatio)             \
    field(Optional<Float>, unstableBreathRatio)           \
    field(Optional<Float>, snoringRatio)                  \
    field(Optional<Float>, noSnoringRatio)                \
    field(Optional<Float>, breathingIndex)                \
    field(Optional<Int>, wasoCount)                       \
    field(Optional<Int>, longestWaso)                     \
    field(Optional<Int>, unstableBreathCount)             \
    field(Optional<Int>, sleepCycleCount)                 \
    field(Optional<Int>, snoringCount)
/// Averages over a period. The first four are times of day as the service writes them.
VELMOR_RECORD(AverageStats)
#undef VELMOR_FIELDS

#define VELMOR_FIELDS(field)                              \
    field(String, id)                                     \
    field(Date, startTime)                                \
    field(Date, endTime)                                  \
    field(Date, completedTime)
/// A session of the period in which no sleep was found.
VELMOR_RECORD(NeverSleptSession)
#undef VELMOR_FIELDS

#define VELMOR_FIELDS(field)                              \
    field(String, id)                                     \
    field(String, createdTimezone)                        \
    field(Date, startTime)                                \
    field(Date, endTime)                                  \
    field(Date, completedTime)                            \
    field(Float, sleepEfficiency)                         \
    field(Optional<Int>, sleepLatency)                    \
    field(Optional<Int>, wakeupLatency)                   \
    field(Optional<Int>, lightLatency)                    \
    field(Optional<Int>, deepLatency)                     \
    field(Optional<Int>, remLatency)                      \
    field(Optional<Date>, sleepTime)                      \
    field(Optional<Date>, wakeTime)                       \
    field(Int, timeInWake)                                \
    field(Int, timeInSleepPeriod)                         \
    field(Int, timeInSleep)                               \
    field(Int, timeInBed)                                 \
    field(Optional<Int>, timeInRem)                       \
    field(Optional<Int>, timeInLight)                     \
    field(Optional<Int>, timeInDeep)                      \
    field(Optional<Int>, timeInStableBreath)              \
    field(Optional<Int>, timeInUnstableBreath)            \
    field(Optional<Int>, timeInSnoring)                   \
    field(Optional<Int>, timeInNoSnoring)                 \
    field(Float, wakeRatio)                               \
    field(Float, sleepRatio)                              \
    field(Optional<Float>, remRatio)                      \
    field(Optional<Float>, lightRatio)                    \
    field(Optional<Float>, deepRatio)                     \
    field(Optional<Float>, stableBreathRatio)             \
    field(Optional<Float>, unstableBreathRatio)           \
    field(Optional<Float>, snoringRatio)                  \
    field(Optional<Float>, noSnoringRatio)                \
    field(Optional<Int>, unstableBreathCount)             \
    field(Optional<BreathingPattern>, breathingPattern)   \
    field(Optional<Float>, breathingIndex)                \
    field(Optional<Int>, sleepCycle)                      \
    field(Optional<Int>, sleepCycleCount)                 \
    field(Optional<Int>, wasoCount)                       \
    field(Optional<Int>, longestWaso)                     \
    field(Optional<Int>, snoringCount)
/// A session of the period in which sleep was found.
VELMOR_RECORD(SleptSession)
#undef VELMOR_FIELDS

#define VELMOR_FIELDS(field)                              \
    field(Period, period)                                 \
    field(List<Peculiarity>, peculiarities)               \
    field(Optional<AverageStats>, averageStats)           \
    field(List<NeverSleptSession>, neverSleptSessions)    \
    field(List<SleptSession>, sleptSessions)
VELMOR_RECORD(AverageReport)
#undef VELMOR_FIELDS

#define VELMOR_FIELDS(field)                              \
    field(Optional<String>, sessionId)                    \
    field(Optional<String>, inferenceType)                \
    field(Optional<String>, service)                      \
    field(Optional<String>, state)                        \
    field(Optional<Date>, startTime)                      \
    field(Optional<Date>, endTime)                        \
    field(Optional<Date>, completeTime)
/// A user's last session. Kind and state stay the service's own words. Nothing in it is needed to join, so
/// everything may be missing.
VELMOR_RECORD(SessionInfo)
#undef VELMOR_FIELDS

#define VELMOR_FIELDS(field)                              \
    field(String, userId)                                 \
    field(Optional<SessionInfo>, lastSessionInfo)
VELMOR_RECORD(User)
#undef VELMOR_FIELDS

#define VELMOR_FIELDS(field)                              \
    field(String, sessionId)
/// The answer to a session being opened.
VELMOR_RECORD(CreateSession)
#undef VELMOR_FIELDS

#define VELMOR_FIELDS(field)                              \
    field(Optional<Int>, errorCode)
/// What comes with a refusal.
VELMOR_RECORD(ErrorBody)
#undef VELMOR_FIELDS

// Answers that say no more than that it was done.
#define VELMOR_FIELDS(field)
VELMOR_RECORD(UploadData)
VELMOR_RECORD(CloseSession)
VELMOR_RECORD(DeleteUser)
VELMOR_RECORD(DeleteReport)
#undef VELMOR_FIELDS

// clang-format on

#undef VELMOR_RECORD
#undef VELMOR_RECORD_VISIT
#undef VELMOR_RECORD_MEMBER

}  // namespace Velmor::Model
