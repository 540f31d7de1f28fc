// The command line as a checked value.
#pragma once

#include "ExitCode.hpp"
#include "Values.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <Velmor/Platform/Clock.hpp>
#include <Velmor/Url.hpp>

namespace VelmorApp {

struct SharedOptions {
    std::string apiKey;
    std::string userId;                  ///< empty for none
    std::optional<Velmor::Url> baseUrl;  ///< none: the local service in this process
    std::optional<Velmor::Url> logUrl;
    std::optional<Velmor::Url> callbackUrl;
    std::string service;  ///< empty for none
    bool developerMode = false;
    std::string caFile;
    std::string dataDir;
    std::string serviceDir;
    bool json = false;
    bool quiet = false;
    bool verbose = false;
};

struct TrackOptions {
    enum class Source { microphone, file, synthetic };
    Source source = Source::microphone;
    std::string microphone;
    std::string input;
    Nanoseconds synthetic{};
    std::uint64_t seed = 1;
    bool fullSpeed = false;
    std::optional<Velmor::WallTime> start;
    std::optional<Nanoseconds> duration;
    std::vector<Stretch> interruptions;  ///< in order, not overlapping
    bool analysis = true;
};

struct MelOptions {
    std::vector<std::string> files;
    std::string outDir;
    bool png = false;
};

struct ReportOptions {
    std::string sessionId;
    std::string svg;  ///< empty for none
};

struct Period {
    std::string from, to;
};

struct SessionsOptions {
    Period period;
    bool descending = false;
    std::int64_t offset = 0;
    std::int64_t limit = 20;
};

struct AverageOptions {
    Period period;
};

struct DeleteReportOptions {
    std::string sessionId;
};

struct DeleteUserOptions {};

struct ServeOptions {
    std::uint16_t port = 0;
};

struct DoctorOptions {};

struct Invocation {
    SharedOptions shared;
    std::variant<TrackOptions, MelOptions, ReportOptions, SessionsOptions, AverageOptions,
                 DeleteReportOptions, DeleteUserOptions, ServeOptions, DoctorOptions>
        command;
};

/// Options come before the environment. Help, version and complaints are printed here; the exit code is then
/// all that is left to do.
std::variant<Invocation, ExitCode> parseCommandLine(int argc, const char* const* argv);

}  // namespace VelmorApp
