#include "service/Api/SampleNight.hpp"

#include "service/Dates.hpp"
#include "service/Json/JsonText.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace VelmorService {

namespace {

using Epoch = std::size_t;

constexpr Instant kStart =
    1'705'326'300;  // 2024-01-15T13:45:00Z, a quarter to eleven in the evening in Seoul
constexpr const char* kTimezone = "Asia/Seoul";

struct Run {
    int stage;
    Epoch epochs;
};

constexpr std::array kSleep{
    Run{0, 24}, Run{1, 30}, Run{2, 50}, Run{1, 24}, Run{3, 16},               // first cycle
    Run{1, 40}, Run{0, 4},  Run{1, 20}, Run{2, 44}, Run{1, 20}, Run{3, 36},   // second
    Run{1, 50}, Run{2, 24}, Run{0, 3},  Run{1, 50}, Run{3, 44},               // third
    Run{1, 60}, Run{0, 8},  Run{1, 60}, Run{2, 10}, Run{1, 40}, Run{3, 56},   // fourth
    Run{1, 60}, Run{0, 5},  Run{1, 70}, Run{3, 60}, Run{1, 30}, Run{0, 22}};  // fifth, and waking up
constexpr std::array kBreath{Run{0, 190}, Run{1, 6}, Run{0, 240}, Run{1, 9},
                             Run{0, 205}, Run{1, 4}, Run{0, 306}};
constexpr std::array kSnoring{Run{0, 60},  Run{1, 42}, Run{0, 130}, Run{1, 25},
                              Run{0, 300}, Run{1, 18}, Run{0, 385}};

template <typename Runs>
std::vector<int> expanded(const Runs& runs) {
    std::vector<int> stages;
    for (const Run& run : runs) {
        stages.insert(stages.end(), run.epochs, run.stage);
    }
    return stages;
}

std::int64_t seconds(Epoch epochs) {
    return static_cast<std::int64_t>(epochs) * SampleNight::kEpochSeconds;
}

std::string timeAt(Epoch epoch) {
    return formatInstant(kStart + seconds(epoch));
}

/// The sleep period: from the first epoch asleep to the one after the last.
struct Period {
    Epoch begin = 0;
    Epoch end = 0;

    explicit Period(const std::vector<int>& stages) {
        const auto asleep = [](int stage) { return stage != SampleNight::Wake; };
        begin = static_cast<Epoch>(std::ranges::find_if(stages, asleep) - stages.begin());
        end = stages.size() -
              static_cast<Epoch>(std::find_if(stages.rbegin(), stages.rend(), asleep) - stages.rbegin());
    }
    Epoch size() const { return end - begin; }

    Epoch count(const std::vector<int>& stages, int stage) const {
        Epoch sum = 0;
        for (Epoch epoch = begin; epoch < end; ++epoch) {
            sum += stages[epoch] == stage ? 1U : 0U;
        }
        return sum;
    }
    /// Number and greatest length of the stretches of one stage.
    std::pair<Epoch, Epoch> stretches(const std::vector<int>& stages, int stage) const {
        Epoch count = 0;
        Epoch longest = 0;
        Epoch length = 0;
        for (Epoch epoch = begin; epoch < end; ++epoch) {
            length = stages[epoch] == stage ? length + 1 : 0;
            count += length == 1 ? 1U : 0U;
            longest = std::max(longest, length);
        }
        return {count, longest};
    }
    Epoch latency(const std::vector<int>& stages, int stage) const {
        Epoch epoch = begin;
        while (epoch < end && stages[epoch] != stage) {
            ++epoch;
        }
        return epoch - begin;
    }
};

double ratio(Epoch part, Epoch whole) {
    return std::round(1e4 * static_cast<double>(part) / static_cast<double>(whole)) / 1e4;
}

void addSleep(Json& stat, const SampleNight& night, const Period& period) {
    const auto& stages = night.sleepStages;
    const Epoch inBed = stages.size();
    const Epoch wake = period.count(stages, SampleNight::Wake);
    const Epoch light = period.count(stages, SampleNight::Light);
    const Epoch deep = period.count(stages, SampleNight::Deep);
    const Epoch rem = period.count(stages, SampleNight::Rem);
    const Epoch asleep = light + deep + rem;
    stat["sleep_latency"] = seconds(period.begin);
    stat["wakeup_latency"] = seconds(inBed - period.end);
    stat["sleep_time"] = timeAt(period.begin);
    stat["wake_time"] = timeAt(period.end);
    stat["light_latency"] = seconds(period.latency(stages, SampleNight::Light));
    stat["deep_latency"] = seconds(period.latency(stages, SampleNight::Deep));
    stat["rem_latency"] = seconds(period.latency(stages, SampleNight::Rem));
    stat["time_in_wake"] = seconds(wake);
    stat["time_in_sleep"] = seconds(asleep);
    stat["time_in_bed"] = seconds(inBed);
    stat["time_in_sleep_period"] = seconds(period.size());
    stat["time_in_rem"] = seconds(rem);
    stat["time_in_light"] = seconds(light);
    stat["time_in_deep"] = seconds(deep);
    stat["sleep_efficiency"] = ratio(asleep, inBed);
    stat["wake_ratio"] = ratio(wake, period.size());
    stat["sleep_ratio"] = ratio(asleep, period.size());
    stat["rem_ratio"] = ratio(rem, period.size());
    stat["light_ratio"] = ratio(light, period.size());
    stat["deep_ratio"] = ratio(deep, period.size());
    stat["sleep_index"] = std::llround(100 * ratio(asleep, inBed));
}

void addBreath(Json& stat, const SampleNight& night, const Period& period) {
    const Epoch unstable = period.count(night.breathStages, 1);
    const Epoch snoring = period.count(night.snoringStages, 1);
    const Epoch events = period.stretches(night.breathStages, 1).first;
    const double hours = static_cast<double>(seconds(period.size())) / 3600;
    stat["time_in_stable_breath"] = seconds(period.size() - unstable);
    stat["time_in_unstable_breath"] = seconds(unstable);
    stat["time_in_snoring"] = seconds(snoring);
    stat["time_in_no_snoring"] = seconds(period.size() - snoring);
    stat["stable_breath_ratio"] = ratio(period.size() - unstable, period.size());
    stat["unstable_breath_ratio"] = ratio(unstable, period.size());
    stat["snoring_ratio"] = ratio(snoring, period.size());
    stat["no_snoring_ratio"] = ratio(period.size() - snoring, period.size());
    stat["unstable_breath_count"] = events;
    stat["breathing_pattern"] = "STABLE_BREATH";
    stat["breathing_index"] = std::round(100 * static_cast<double>(events) / hours) / 100;
    stat["snoring_count"] = period.stretches(night.snoringStages, 1).first;
}

void addCycles(Json& stat, const SampleNight& night, const Period& period) {
    Json times = Json::array();
    for (const Epoch end : night.cycleEnds) {
        times.push_back(timeAt(end));
    }
    const auto [wakes, longest] = period.stretches(night.sleepStages, SampleNight::Wake);
    const Epoch slept = night.cycleEnds.back() - period.begin;
    stat["sleep_cycle"] = seconds(slept) / static_cast<std::int64_t>(night.cycleEnds.size());
    stat["sleep_cycle_count"] = night.cycleEnds.size();
    stat["sleep_cycle_time"] = times;
    stat["waso_count"] = wakes;
    stat["longest_waso"] = seconds(longest);
}

}  // namespace

SampleNight makeSampleNight() {
    SampleNight night{expanded(kSleep), expanded(kBreath), expanded(kSnoring), {}};
    for (Epoch epoch = 1; epoch < night.sleepStages.size(); ++epoch) {
        if (night.sleepStages[epoch - 1] == SampleNight::Rem &&
            night.sleepStages[epoch] != SampleNight::Rem) {
            night.cycleEnds.push_back(epoch);
        }
    }
    return night;
}

Json sampleReportJson(const SampleNight& night, const std::string& sessionId) {
    const Period period(night.sleepStages);
    Json stat;
    addSleep(stat, night, period);
    addBreath(stat, night, period);
    addCycles(stat, night, period);
    return {{"timezone", kTimezone},
            {"peculiarities", Json::array()},
            {"missing_data_ratio", 0.0},
            {"session",
             {{"id", sessionId},
              {"state", "COMPLETE"},
              {"start_time", timeAt(0)},
              {"end_time", timeAt(night.sleepStages.size())},
              {"created_timezone", kTimezone},
              {"sleep_stages", night.sleepStages},
              {"breath_stages", night.breathStages},
              {"snoring_stages", night.snoringStages}}},
            {"stat", stat}};
}

}  // namespace VelmorService
