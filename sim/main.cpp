// velmor-nights: whole nights under random faults, thousands of times faster than they pass.
#include "Kinds.hpp"
#include "Plan.hpp"
#include "Random.hpp"
#include "Simulate.hpp"
#include "Sweeps.hpp"

#include <CLI/CLI.hpp>
#include <cinttypes>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <malloc.h>
#include <map>
#include <string>
#include <vector>

namespace Velmor::Nights {
namespace {

struct Options {
    std::string seeds;
    std::string hours = "8";
    bool audio = false;
    bool verbose = false;
    bool untilFailure = false;
    std::string night;
    std::string regressions;
    double atLeast = 0;
    std::string sweep;
    std::size_t stride = 1;
};

/// What was simulated so far.
struct Tally {
    std::map<std::string, std::size_t> faults;
    std::size_t nights = 0, failed = 0, chunks = 0;
    double simulated = 0;             // seconds
    std::vector<std::size_t> memory;  // in use behind each night
};

double processorSeconds() {
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

void simulateAndCount(const Plan& plan, const Options& options, Tally& tally) {
    const auto outcome = simulate(plan, options.verbose && !options.night.empty());
    ++tally.nights;
    tally.chunks += outcome.chunks;
    tally.simulated += std::chrono::duration<double>(plan.length).count();
    for (const auto& fault : plan.faults) ++tally.faults[fault.kind->name];
    tally.memory.push_back(mallinfo2().uordblks);
    if (options.verbose) {
        for (const auto& line : outcome.trace) std::printf("%s\n", line.c_str());
        std::printf("%s: trace %016" PRIx64 ", %zu chunks\n", text(plan).c_str(), outcome.hash,
                    outcome.chunks);
    }
    if (outcome.violations.empty()) return;
    ++tally.failed;
    explain(plan, outcome);
}

// Freed blocks that the allocator keeps at hand count as in use, so some growth is none; growth with each
// night is a leak.
bool memoryGrows(const Tally& tally) {
    if (tally.nights < 40 || tally.failed > 0) return false;
    const auto lowest = [&](std::size_t from, std::size_t to) {
        return *std::min_element(tally.memory.begin() + static_cast<std::ptrdiff_t>(from),
                                 tally.memory.begin() + static_cast<std::ptrdiff_t>(to));
    };
    const auto half = tally.nights / 2;
    const auto early = lowest(half / 2, half);
    const auto late = lowest(half + half / 2, tally.nights);
    const bool grows = late > early + 65'536 + half * 16;
    std::printf("memory in use after a night: %zu, later %zu bytes%s\n", early, late,
                grows ? ": it GROWS" : "");
    return grows;
}

void printTable(const Tally& tally) {
    std::printf("\n| faults | kind | count |\n|---|---|---|\n");
    std::size_t sum = 0;
    for (const auto& kind : kinds()) {
        const auto found = tally.faults.find(kind.name);
        const auto count = found == tally.faults.end() ? 0 : found->second;
        std::printf("| %s | %s | %zu |\n", name(kind.group), kind.name, count);
        sum += count;
    }
    std::printf("| all | %zu kinds | %zu |\n\n", kinds().size(), sum);
}

std::pair<std::int64_t, std::int64_t> range(const std::string& text) {
    const auto dash = text.find('-');
    const auto from = std::stoll(text);
    return {from, dash == std::string::npos ? from : std::stoll(text.substr(dash + 1))};
}

Plan planFor(std::int64_t seed, const Options& options) {
    const auto [from, to] = range(options.hours);
    Random random(static_cast<std::uint64_t>(seed) + 77);
    const std::chrono::hours hours{from + random.below(to - from + 1)};
    return draw(static_cast<std::uint64_t>(seed), hours, options.audio);
}

void simulateAll(const Options& options, Tally& tally) {
    if (!options.night.empty()) simulateAndCount(parse(options.night), options, tally);
    if (!options.regressions.empty()) {
        std::ifstream file(options.regressions);
        if (!file) throw std::runtime_error("cannot read " + options.regressions);
        for (std::string line; std::getline(file, line);)
            if (!line.empty() && line[0] != '#') simulateAndCount(parse(line), options, tally);
    }
    if (options.seeds.empty()) return;
    const auto [from, to] = range(options.seeds);
    for (auto seed = from; seed <= to && !(options.untilFailure && tally.failed > 0); ++seed)
        simulateAndCount(planFor(seed, options), options, tally);
}

int run(const Options& options) {
    Tally tally;
    const auto began = processorSeconds();
    simulateAll(options, tally);
    const auto took = processorSeconds() - began;
    const auto speed = tally.simulated / took;
    printTable(tally);
    const bool grows = memoryGrows(tally);
    std::printf("%zu nights, %.1f hours, %zu chunks: %zu failed; %.0f times real time (%.1f s of one core)\n",
                tally.nights, tally.simulated / 3600, tally.chunks, tally.failed, speed, took);
    if (speed < options.atLeast) std::printf("slower than %.0f times real time\n", options.atLeast);
    return tally.failed > 0 || grows || speed < options.atLeast ? 1 : 0;
}

}  // namespace
}  // namespace Velmor::Nights

int main(int argc, char** argv) {
    using namespace Velmor::Nights;
    Options options;
    CLI::App app{"Simulates nights under random faults and checks what must be true of each."};
    app.add_option("--seeds", options.seeds, "FROM-TO, one night each");
    app.add_option("--hours", options.hours, "length of a night, or FROM-TO");
    app.add_flag("--audio", options.audio, "carry and convert real samples");
    app.add_option("--night", options.night, "one night as a failing run prints it");
    app.add_option("--regressions", options.regressions, "a file of such nights, one a line");
    app.add_option("--at-least", options.atLeast, "fail below this many times real time");
    app.add_flag("--until-failure", options.untilFailure, "end with the first night that fails");
    app.add_flag("--verbose", options.verbose, "print each night's trace hash; with --night, its trace");
    app.add_option("--sweep", options.sweep, "instead of nights, one of: " + sweepNames());
    app.add_option("--stride", options.stride, "of what a sweep goes through, every so many only")
        ->check(CLI::PositiveNumber);
    CLI11_PARSE(app, argc, argv);
    try {
        if (!options.sweep.empty()) return sweep(options.sweep, {options.stride, options.audio}) ? 0 : 1;
        return run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "velmor-nights: %s\n", error.what());
        return 2;
    }
}
