#pragma once

// Adds to the label of each benchmark the ratio of its CPU time to its limit's.

#include <benchmark/benchmark.h>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velmor {

/// Around the reporter that the program's options ask for. The limit of stage/X is limit/X, that of a chunk
/// limit/chunk; limits must have run before, and a benchmark without one is printed as it is.
class RatioReporter : public benchmark::BenchmarkReporter {
  public:
    RatioReporter() : inner_(*benchmark::CreateDefaultDisplayReporter()) {}

    bool ReportContext(const Context& context) override { return inner_.ReportContext(context); }
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override { inner_.Finalize(); }

  private:
    std::optional<double> limitOf(const Run& run) const;

    benchmark::BenchmarkReporter& inner_;   // the library keeps it
    std::map<std::string, double> limits_;  // seconds
};

}  // namespace velmor
