// Answers of the service as JSON texts that tests change and read.
#pragma once

#include "../ErrorOf.hpp"
#include "APIService/Decode.hpp"

#include <string>
#include <string_view>

namespace Velmor {

/// Reads `json` as the record `T` in the envelope's result.
template <class T>
T read(std::string_view json) {
    return *decodeResponse<T>("{\"result\":" + std::string(json) + "}").result;
}

/// The place and reason of the error that reading gives; empty when there is none.
template <class T>
std::string readError(std::string_view json) {
    return VelmorTests::errorOf<DecodingError>([&] { read<T>(json); });
}

/// `text` with the first `from` replaced.
inline std::string changed(std::string text, std::string_view from, std::string_view to) {
    return text.replace(text.find(from), from.size(), to);
}

inline const std::string kReportJson = R"({
    "timezone": "Asia/Seoul", "peculiarities": ["NEVER_SLEPT", "NO_REALTIME_POLLING"],
    "missing_data_ratio": 0.25, "new_key": {"deep": [1]},
    "session": {"id": "s1", "state": "CLOSED", "start_time": "2024-03-05T23:10:04.250Z",
        "end_time": "2024-03-06T08:00:00+09:00", "unexpected_end_time": null,
        "created_timezone": "UTC", "sleep_stages": [0, 1, -1], "breath_stages": []},
    "stat": {"sleep_latency": 1, "wakeup_latency": 2, "sleep_time": "2024-03-05T23:20:00Z",
        "wake_time": "2024-03-06T06:30:00Z", "light_latency": 5, "deep_latency": 6, "rem_latency": 7,
        "time_in_wake": 8, "time_in_sleep": 9, "time_in_bed": 10, "time_in_sleep_period": 11,
        "time_in_rem": 12, "time_in_light": 13, "time_in_deep": 14, "time_in_stable_breath": 15,
        "time_in_unstable_breath": 16, "time_in_snoring": 17, "time_in_no_snoring": 18,
        "sleep_efficiency": 0.19, "wake_ratio": 0.2, "sleep_ratio": 0.21, "rem_ratio": 0.22,
        "light_ratio": 0.23, "deep_ratio": 0.24, "stable_breath_ratio": 0.25,
        "unstable_breath_ratio": 0.26, "snoring_ratio": 0.27, "no_snoring_ratio": 1,
        "unstable_breath_count": 29, "breathing_pattern": "MILDLY_UNSTABLE_BREATH",
        "breathing_index": 31.5, "sleep_cycle": 32, "sleep_cycle_count": 33,
        "sleep_cycle_time": ["2024-03-06T00:00:00Z", "2024-03-06T01:30:00Z"], "waso_count": 35,
        "longest_waso": 36, "sleep_index": 37, "snoring_count": 38}})";

inline const std::string kSleptJson = R"({"id": "s2", "created_timezone": "UTC",
    "start_time": "2024-02-29T22:00:00Z", "end_time": "2024-03-01T06:00:00Z",
    "completed_time": "2024-03-01T06:05:00Z", "sleep_efficiency": 0.9, "time_in_wake": 1,
    "time_in_sleep_period": 2, "time_in_sleep": 3, "time_in_bed": 4, "wake_ratio": 0.1, "sleep_ratio": 0.8})";

inline const std::string kAverageStatsJson = R"({"start_time": "22:00:00", "end_time": "06:00:00",
    "sleep_time": "22:15:00", "wake_time": "05:50:00", "sleep_latency": 5, "wakeup_latency": 6,
    "time_in_bed": 7, "time_in_sleep_period": 8, "time_in_sleep": 9, "time_in_wake": 10,
    "sleep_efficiency": 0.5, "wake_ratio": 0.25, "sleep_ratio": 0.75})";

inline const std::string kAverageJson = R"({"period": {"timezone": "UTC", "start_date": "2024-02-29",
        "end_date": "2024-03-06"}, "peculiarities": ["IN_PROGRESS"],
    "average_stats": )" + kAverageStatsJson +
                                        R"(, "never_slept_sessions": [{"id": "s0",
        "start_time": "2024-02-28T22:00:00Z", "end_time": "2024-02-28T23:00:00Z",
        "completed_time": "2024-02-28T23:01:00Z"}],
    "slept_sessions": [)" + kSleptJson + "]}";

inline const std::string kListJson = R"({"timezone": "UTC", "sleep_session_list": [
    {"session_id": "s1", "state": "COMPLETE", "session_start_time": "2024-03-05T23:10:04Z",
     "session_end_time": "2024-03-06T06:10:04Z", "created_timezone": "UTC", "last_received_seq_num": 839,
     "time_in_bed": 25200},
    {"session_id": "s2", "state": "OPEN", "session_start_time": "2024-03-06T23:10:04Z",
     "created_timezone": "UTC"}]})";

}  // namespace Velmor
