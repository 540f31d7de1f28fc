/// The records in which the service's answers reach the application. All are plain values. Besides its fields
/// each has `description()`: the fields as text, labelled, one to a line, in UTC.
/// An empty optional is a field that the service left out or sent as null. "s" stands for seconds.
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
/// A point in time to the microsecond, UTC without leap seconds; what the service wrote finer is dropped.
/// Holds every date of the years 0 to 9999, which a WallTime, whose nanoseconds end in 2262, does not:
/// services mark "never" by year 1 or 9999.
using Date = std::chrono::sys_time<std::chrono::microseconds>;
/// A calendar day, as the midnight UTC at which it begins.
using Day = std::chrono::sys_days;

/// The figures of one night. How they are counted is up to the service; the comments say how the local
/// service that comes with the library counts them.
struct Stat {
    std::optional<Int> sleepLatency;          ///< s from the start of the session to falling asleep
    std::optional<Int> wakeupLatency;         ///< s from waking up to the end of the session
    std::optional<Date> sleepTime;            ///< when sleep began
    std::optional<Date> wakeTime;             ///< when sleep ended
    std::optional<Int> lightLatency;          ///< s from falling asleep to the first light sleep
    std::optional<Int> deepLatency;           ///< s to the first deep sleep
    std::optional<Int> remLatency;            ///< s to the first REM sleep
    std::optional<Int> timeInWake;            ///< s awake between falling asleep and waking up
    std::optional<Int> timeInSleep;           ///< s asleep
    std::optional<Int> timeInBed;             ///< s of the whole session
    std::optional<Int> timeInSleepPeriod;     ///< s from falling asleep to waking up
    std::optional<Int> timeInRem;             ///< s
    std::optional<Int> timeInLight;           ///< s
    std::optional<Int> timeInDeep;            ///< s
    std::optional<Int> timeInStableBreath;    ///< s
    std::optional<Int> timeInUnstableBreath;  ///< s
    std::optional<Int> timeInSnoring;         ///< s
    std::optional<Int> timeInNoSnoring;       ///< s
    std::optional<Float> sleepEfficiency;     ///< share of timeInBed spent asleep, 0 to 1
    std::optional<Float> wakeRatio;           ///< share of timeInSleepPeriod, 0 to 1, as all ratios are
    std::optional<Float> sleepRatio;
    std::optional<Float> remRatio;
    std::optional<Float> lightRatio;
    std::optional<Float> deepRatio;
    std::optional<Float> stableBreathRatio;
    std::optional<Float> unstableBreathRatio;
    std::optional<Float> snoringRatio;
    std::optional<Float> noSnoringRatio;
    std::optional<Int> unstableBreathCount;  ///< stretches of unstable breath
    std::optional<BreathingPattern> breathingPattern;
    std::optional<Float> breathingIndex;              ///< stretches of unstable breath in an hour
    std::optional<Int> sleepCycle;                    ///< s of the mean cycle
    std::optional<Int> sleepCycleCount;               ///< whole cycles of sleep
    std::optional<std::vector<Date>> sleepCycleTime;  ///< when each cycle ended
    std::optional<Int> wasoCount;                     ///< times awake after falling asleep
    std::optional<Int> longestWaso;                   ///< s of the longest of them
    std::optional<Int> sleepIndex;                    ///< the service's score of the night, 0 to 100
    std::optional<Int> snoringCount;                  ///< stretches of snoring

    VELMOR_API std::string description() const;
    bool operator==(const Stat&) const = default;
};

/// One session.
struct Session {
    std::string id;
    State state{};
    Date startTime{};
    std::optional<Date> endTime;                    ///< none while it is open
    std::optional<Date> unexpectedEndTime;          ///< set when it ended without being closed
    std::string createdTimezone;                    ///< IANA name of the zone it was opened in
    std::optional<std::vector<Int>> sleepStages;    ///< a code for each epoch, from the start
    std::optional<std::vector<Int>> breathStages;   ///< likewise
    std::optional<std::vector<Int>> snoringStages;  ///< likewise

    VELMOR_API std::string description() const;
    bool operator==(const Session&) const = default;
};

/// The analysis of one session.
struct Report {
    std::string timezone;                    ///< IANA name
    std::vector<Peculiarity> peculiarities;  ///< what keeps the analysis from being complete
    Float missingDataRatio{};                ///< share of the session whose sound never arrived, 0 to 1
    Session session;
    std::optional<Stat> stat;  ///< none until there is an analysis

    VELMOR_API std::string description() const;
    bool operator==(const Report&) const = default;
};

/// One entry of a list of sessions.
struct SleepSession {
    std::string sessionId;
    State state{};
    Date sessionStartTime{};
    std::optional<Date> sessionEndTime;     ///< none while it is open
    std::string createdTimezone;            ///< IANA name of the zone it was opened in
    std::optional<Date> unexpectedEndTime;  ///< set when it ended without being closed
    std::optional<Int> lastReceivedSeqNum;  ///< of the last chunk that the service received
    std::optional<Int> timeInBed;           ///< s of the whole session

    VELMOR_API std::string description() const;
    bool operator==(const SleepSession&) const = default;
};

/// The sessions of some days.
struct ReportList {
    std::string timezone;                        ///< IANA name
    std::vector<SleepSession> sleepSessionList;  ///< in the order that was asked for

    VELMOR_API std::string description() const;
    bool operator==(const ReportList&) const = default;
};

/// The days that an average covers.
struct Period {
    std::string timezone;  ///< IANA name
    Day startDate{};       ///< first day
    Day endDate{};         ///< last day

    VELMOR_API std::string description() const;
    bool operator==(const Period&) const = default;
};

/// Averages over a period. The first four are times of day as the service writes them, for instance
/// "22:00:00".
struct AverageStats {
    std::string startTime;                    ///< of the sessions
    std::string endTime;                      ///< of the sessions
    std::string sleepTime;                    ///< falling asleep
    std::string wakeTime;                     ///< waking up
    Int sleepLatency{};                       ///< s from the start of the session to falling asleep
    Int wakeupLatency{};                      ///< s from waking up to the end of the session
    Int timeInBed{};                          ///< s of the whole session
    Int timeInSleepPeriod{};                  ///< s from falling asleep to waking up
    Int timeInSleep{};                        ///< s asleep
    Int timeInWake{};                         ///< s awake between falling asleep and waking up
    std::optional<Int> timeInLight;           ///< s
    std::optional<Int> timeInDeep;            ///< s
    std::optional<Int> timeInRem;             ///< s
    std::optional<Int> timeInStableBreath;    ///< s
    std::optional<Int> timeInUnstableBreath;  ///< s
    std::optional<Int> timeInSnoring;         ///< s
    std::optional<Int> timeInNoSnoring;       ///< s
    Float sleepEfficiency{};                  ///< share of timeInBed spent asleep, 0 to 1
    Float wakeRatio{};                        ///< share of timeInSleepPeriod, 0 to 1, as all ratios are
    Float sleepRatio{};
    std::optional<Float> lightRatio;
    std::optional<Float> deepRatio;
    std::optional<Float> remRatio;
    std::optional<Float> stableBreathRatio;
    std::optional<Float> unstableBreathRatio;
    std::optional<Float> snoringRatio;
    std::optional<Float> noSnoringRatio;
    std::optional<Float> breathingIndex;     ///< stretches of unstable breath in an hour
    std::optional<Int> wasoCount;            ///< times awake after falling asleep
    std::optional<Int> longestWaso;          ///< s of the longest of them
    std::optional<Int> unstableBreathCount;  ///< stretches of unstable breath
    std::optional<Int> sleepCycleCount;      ///< whole cycles of sleep
    std::optional<Int> snoringCount;         ///< stretches of snoring

    VELMOR_API std::string description() const;
    bool operator==(const AverageStats&) const = default;
};

/// A session of the period in which no sleep was found.
struct NeverSleptSession {
    std::string id;
    Date startTime{};
    Date endTime{};
    Date completedTime{};  ///< when its analysis was complete

    VELMOR_API std::string description() const;
    bool operator==(const NeverSleptSession&) const = default;
};

/// A session of the period in which sleep was found.
struct SleptSession {
    std::string id;
    std::string createdTimezone;  ///< IANA name of the zone it was opened in
    Date startTime{};
    Date endTime{};
    Date completedTime{};                     ///< when its analysis was complete
    Float sleepEfficiency{};                  ///< share of timeInBed spent asleep, 0 to 1
    std::optional<Int> sleepLatency;          ///< s from the start of the session to falling asleep
    std::optional<Int> wakeupLatency;         ///< s from waking up to the end of the session
    std::optional<Int> lightLatency;          ///< s from falling asleep to the first light sleep
    std::optional<Int> deepLatency;           ///< s to the first deep sleep
    std::optional<Int> remLatency;            ///< s to the first REM sleep
    std::optional<Date> sleepTime;            ///< when sleep began
    std::optional<Date> wakeTime;             ///< when sleep ended
    Int timeInWake{};                         ///< s awake between falling asleep and waking up
    Int timeInSleepPeriod{};                  ///< s from falling asleep to waking up
    Int timeInSleep{};                        ///< s asleep
    Int timeInBed{};                          ///< s of the whole session
    std::optional<Int> timeInRem;             ///< s
    std::optional<Int> timeInLight;           ///< s
    std::optional<Int> timeInDeep;            ///< s
    std::optional<Int> timeInStableBreath;    ///< s
    std::optional<Int> timeInUnstableBreath;  ///< s
    std::optional<Int> timeInSnoring;         ///< s
    std::optional<Int> timeInNoSnoring;       ///< s
    Float wakeRatio{};                        ///< share of timeInSleepPeriod, 0 to 1, as all ratios are
    Float sleepRatio{};
    std::optional<Float> remRatio;
    std::optional<Float> lightRatio;
    std::optional<Float> deepRatio;
    std::optional<Float> stableBreathRatio;
    std::optional<Float> unstableBreathRatio;
    std::optional<Float> snoringRatio;
    std::optional<Float> noSnoringRatio;
    std::optional<Int> unstableBreathCount;  ///< stretches of unstable breath
    std::optional<BreathingPattern> breathingPattern;
    std::optional<Float> breathingIndex;  ///< stretches of unstable breath in an hour
    std::optional<Int> sleepCycle;        ///< s of the mean cycle
    std::optional<Int> sleepCycleCount;   ///< whole cycles of sleep
    std::optional<Int> wasoCount;         ///< times awake after falling asleep
    std::optional<Int> longestWaso;       ///< s of the longest of them
    std::optional<Int> snoringCount;      ///< stretches of snoring

    VELMOR_API std::string description() const;
    bool operator==(const SleptSession&) const = default;
};

/// Averages over the sessions of some days, and those sessions.
struct AverageReport {
    Period period;
    std::vector<Peculiarity> peculiarities;    ///< what keeps its sessions from being complete
    std::optional<AverageStats> averageStats;  ///< none when there is nothing to average
    std::vector<NeverSleptSession> neverSleptSessions;
    std::vector<SleptSession> sleptSessions;

    VELMOR_API std::string description() const;
    bool operator==(const AverageReport&) const = default;
};

/// A user's last session. Nothing in it is needed to join, so everything may be missing.
struct SessionInfo {
    std::optional<std::string> sessionId;
    std::optional<std::string> inferenceType;  ///< the service's own word
    std::optional<std::string> service;        ///< the service that it was opened for
    std::optional<std::string> state;          ///< the service's own word
    std::optional<Date> startTime;
    std::optional<Date> endTime;
    std::optional<Date> completeTime;  ///< when its analysis was complete

    VELMOR_API std::string description() const;
    bool operator==(const SessionInfo&) const = default;
};

/// A user who joined.
struct User {
    std::string userId;
    std::optional<SessionInfo> lastSessionInfo;  ///< none before the first session

    VELMOR_API std::string description() const;
    bool operator==(const User&) const = default;
};

/// The answer to a session being opened.
struct CreateSession {
    std::string sessionId;

    VELMOR_API std::string description() const;
    bool operator==(const CreateSession&) const = default;
};

/// What comes with a refusal.
struct ErrorBody {
    std::optional<Int> errorCode;  ///< the service's number of the reason

    VELMOR_API std::string description() const;
    bool operator==(const ErrorBody&) const = default;
};

/// The answer to an upload. This and the following say no more than that it was done.
struct UploadData {
    VELMOR_API std::string description() const;
    bool operator==(const UploadData&) const = default;
};

/// The answer to a session being closed.
struct CloseSession {
    VELMOR_API std::string description() const;
    bool operator==(const CloseSession&) const = default;
};

/// The answer to a user being deleted.
struct DeleteUser {
    VELMOR_API std::string description() const;
    bool operator==(const DeleteUser&) const = default;
};

/// The answer to a report being deleted.
struct DeleteReport {
    VELMOR_API std::string description() const;
    bool operator==(const DeleteReport&) const = default;
};

}  // namespace Velmor::Model
