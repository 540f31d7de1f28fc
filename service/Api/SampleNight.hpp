#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace VelmorService {

/// A made-up night of eight hours that the mock endpoints report. Everything in the report is computed from
/// these lists, so its numbers agree with each other.
struct SampleNight {
    static constexpr int kEpochSeconds = 30;
    enum Stage : int { Wake = 0, Light = 1, Deep = 2, Rem = 3 };

    std::vector<int> sleepStages;        ///< one `Stage` per epoch
    std::vector<int> breathStages;       ///< 0 stable, 1 unstable
    std::vector<int> snoringStages;      ///< 0 quiet, 1 snoring
    std::vector<std::size_t> cycleEnds;  ///< epochs at which a sleep cycle ends
};

SampleNight makeSampleNight();

/// A complete report record of that night, with all 38 statistics.
nlohmann::ordered_json sampleReportJson(const SampleNight& night, const std::string& sessionId);

}  // namespace VelmorService
