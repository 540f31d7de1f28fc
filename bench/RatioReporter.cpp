#include "RatioReporter.hpp"

#include <cstdio>
#include <string_view>

namespace velmor {
namespace {

using Run = benchmark::BenchmarkReporter::Run;

constexpr double kResamplingSeconds = 5e-3;  // of one core for the 30 s of a chunk, on any processor
constexpr std::string_view kLimits = "limit/";
constexpr std::string_view kStages = "stage/";

double seconds(const Run& run) {
    return run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
}

// Repetitions are compared in turn, means with means, medians with medians.
std::string key(std::string_view name, const Run& run) {
    return std::string(name) + ' ' + run.aggregate_name + ' ' + std::to_string(run.repetition_index);
}

bool isTime(const Run& run) {
    return !run.error_occurred && (run.run_type == Run::RT_Iteration || run.aggregate_name == "mean" ||
                                   run.aggregate_name == "median");
}

}  // namespace

std::optional<double> RatioReporter::limitOf(const Run& run) const {
    const std::string_view name = run.run_name.function_name;
    if (name == "resampling") return kResamplingSeconds;
    std::string limit(kLimits);
    if (name.starts_with(kStages))
        limit += name.substr(kStages.size());
    else if (name == "chunk" || name == "npyFile")
        limit += "chunk";
    const auto found = limits_.find(key(limit, run));
    return found == limits_.end() ? std::nullopt : std::optional(found->second);
}

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
    std::vector<Run> labelled = runs;
    for (Run& run : labelled) {
        if (!isTime(run)) continue;
        const std::string& name = run.run_name.function_name;
        if (name.starts_with(kLimits)) limits_[key(name, run)] = seconds(run);
        const std::optional<double> limit = limitOf(run);
        if (!limit) continue;
        char ratio[40];
        std::snprintf(ratio, sizeof ratio, "%.2f of the limit", seconds(run) / *limit);
        run.report_label += (run.report_label.empty() ? "" : ", ") + std::string(ratio);
    }
    inner_.ReportRuns(labelled);
}

}  // namespace velmor
