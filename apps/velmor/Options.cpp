#include "Options.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <iostream>
#include <stdexcept>

namespace VelmorApp {
namespace {

// What the options are read into before they are looked at together.
struct Raw {
    Invocation result;
    TrackOptions track;
    MelOptions mel;
    ReportOptions report;
    SessionsOptions sessions;
    AverageOptions average;
    DeleteReportOptions deleteReport;
    ServeOptions serve;
    std::string speed;
    bool microphone = false;
    std::string order = "asc";
};

template <class Target, class Parse>
CLI::Option* addValue(CLI::App& command, const std::string& name, Target& target, Parse parse,
                      const std::string& kind, const std::string& what, const std::string& help) {
    const auto store = [&target, parse, what](const std::string& text) {
        const auto value = parse(text);
        if (!value) throw CLI::ValidationError(text, "is not " + what);
        target = *value;
    };
    return command.add_option_function<std::string>(name, store, help)->type_name(kind);
}

CLI::Option* addUrl(CLI::App& command, const std::string& name, std::optional<Velmor::Url>& target,
                    const std::string& help) {
    return addValue(command, name, target, Velmor::Url::tryParse, "URL", "an http or https URL", help);
}

void addService(CLI::App& command, SharedOptions& shared) {
    command.add_option("--api-key", shared.apiKey, "API key of the application")
        ->envname("VELMOR_API_KEY")
        ->type_name("KEY");
    command.add_option("--user-id", shared.userId, "user to work for; made by the service when left out")
        ->envname("VELMOR_USER_ID")
        ->type_name("ID");
    addUrl(command, "--base-url", shared.baseUrl, "the service; without it one is started in this process")
        ->envname("VELMOR_BASE_URL");
    addUrl(command, "--log-url", shared.logUrl, "where the library's log is shipped to")
        ->envname("VELMOR_LOG_URL");
    addUrl(command, "--callback-url", shared.callbackUrl, "called by the service when an analysis is done");
    command.add_option("--service", shared.service, "service name that sessions carry")->type_name("NAME");
    command.add_flag("--developer-mode", shared.developerMode, "talk to the service's mock");
    command.add_option("--ca-file", shared.caFile, "trusted certificates (PEM) instead of the system's")
        ->type_name("FILE")
        ->check(CLI::ExistingFile);
    command.add_option("--data-dir", shared.dataDir, "where the library keeps its log")->type_name("DIR");
    command.add_option("--service-dir", shared.serviceDir, "where the local service keeps its data")
        ->type_name("DIR");
}

void addOutput(CLI::App& command, SharedOptions& shared) {
    command.add_flag("--json", shared.json, "print JSON");
    command.add_flag("--quiet", shared.quiet, "no progress and no remarks");
    command.add_flag("--verbose", shared.verbose, "show the library's debug lines");
}

void addPeriod(CLI::App& command, Period& period) {
    const auto add = [&](const char* name, std::string& target, const char* help) {
        command.add_option(name, target, help)->type_name("DATE")->required();
    };
    add("--from", period.from, "first day, as 2024-03-05");
    add("--to", period.to, "last day");
}

void addTrackSource(CLI::App& command, Raw& raw) {
    TrackOptions& track = raw.track;
    auto* microphone = command
                           .add_option_function<std::string>(
                               "--microphone",
                               [&raw](const std::string& name) {
                                   raw.microphone = true;
                                   raw.track.microphone = name;
                               },
                               "record from a microphone (the default)")
                           ->expected(0, 1)
                           ->type_name("[NAME]");
    auto* input = command.add_option("--input", track.input, "use a recording instead: any format and rate")
                      ->type_name("FILE");
    auto* synthetic = addValue(command, "--synthetic", track.synthetic, parseDuration, "DURATION",
                               "a duration such as 8h or 1h30m", "use a synthetic bedroom instead");
    input->excludes(microphone)->excludes(synthetic);
    synthetic->excludes(microphone);
    command.add_option("--seed", track.seed, "which synthetic bedroom")->needs(synthetic)->type_name("N");
}

void addTrack(CLI::App& app, Raw& raw) {
    CLI::App& command =
        *app.add_subcommand("track", "Track a night: record, upload, close, ask for the analysis");
    TrackOptions& track = raw.track;
    addTrackSource(command, raw);
    command.add_option("--speed", raw.speed, "real (default for a microphone) or max")
        ->check(CLI::IsMember({"real", "max"}))
        ->type_name("SPEED");
    addValue(command, "--start", track.start, parseTime, "TIME",
             "an ISO 8601 time such as 2024-03-05T23:10:00Z",
             "with --speed max, the time at which the night begins");
    addValue(command, "--duration", track.duration, parseDuration, "DURATION",
             "a duration such as 8h or 1h30m", "stop after this time");
    const auto interruption = [&track](const std::vector<std::string>& texts) {
        for (const auto& text : texts) {
            const auto stretch = parseStretch(text);
            if (!stretch) throw CLI::ValidationError(text, "is not a stretch such as 310-385");
            track.interruptions.push_back(*stretch);
        }
    };
    command
        .add_option_function<std::vector<std::string>>(
            "--interrupt", interruption, "interrupt the recording, in seconds from the start; repeatable")
        ->expected(1)
        ->take_all()
        ->type_name("FROM-TO");
    command.add_flag("!--no-analysis", track.analysis, "do not ask for the analysis at the end");
    addService(command, raw.result.shared);
    addOutput(command, raw.result.shared);
}

void addMel(CLI::App& app, Raw& raw) {
    CLI::App& command =
        *app.add_subcommand("mel", "Convert recordings to mel spectrograms, one for each 30 s");
    command.add_option("files", raw.mel.files, "recordings")->required()->type_name("FILE");
    command.add_option("--out-dir", raw.mel.outDir, "where STEM-NNNN.npy go")->required()->type_name("DIR");
    command.add_flag("--png", raw.mel.png, "draw each as well");
    addOutput(command, raw.result.shared);
}

void addReports(CLI::App& app, Raw& raw) {
    SharedOptions& shared = raw.result.shared;
    CLI::App& report = *app.add_subcommand("report", "Show the analysis of a session");
    report.add_option("id", raw.report.sessionId, "session id")->required()->type_name("ID");
    report.add_option("--svg", raw.report.svg, "draw the sleep stages into a file")->type_name("FILE");
    CLI::App& sessions = *app.add_subcommand("sessions", "List a user's sessions");
    addPeriod(sessions, raw.sessions.period);
    sessions.add_option("--order", raw.order, "asc or desc, by start")
        ->check(CLI::IsMember({"asc", "desc"}))
        ->type_name("ORDER");
    sessions.add_option("--offset", raw.sessions.offset, "leave out this many")->type_name("N");
    sessions.add_option("--limit", raw.sessions.limit, "at most this many")->type_name("N");
    CLI::App& average = *app.add_subcommand("average", "Show a user's average over some days");
    addPeriod(average, raw.average.period);
    CLI::App& deleteReport = *app.add_subcommand("delete-report", "Delete the report of a session");
    deleteReport.add_option("id", raw.deleteReport.sessionId, "session id")->required()->type_name("ID");
    CLI::App& deleteUser = *app.add_subcommand("delete-user", "Delete a user and all that belongs to it");
    for (CLI::App* command : {&report, &sessions, &average, &deleteReport, &deleteUser}) {
        addService(*command, shared);
        addOutput(*command, shared);
    }
}

void addServe(CLI::App& app, Raw& raw) {
    CLI::App& command = *app.add_subcommand("serve", "Run the local service until Ctrl-C");
    command.add_option("--port", raw.serve.port, "port on the loopback address; a free one when left out")
        ->type_name("PORT");
    command.add_option("--service-dir", raw.result.shared.serviceDir, "where it keeps its data")
        ->type_name("DIR");
    command
        .add_option("--api-key", raw.result.shared.apiKey, "the only key that it accepts; any when left out")
        ->type_name("KEY");
    addOutput(command, raw.result.shared);
}

// --- what no single option can tell ---

void require(bool condition, const std::string& complaint) {
    if (!condition) throw std::invalid_argument(complaint);
}

TrackOptions checkTrack(Raw& raw, const CLI::App& command) {
    TrackOptions& track = raw.track;
    if (command.count("--input") != 0) track.source = TrackOptions::Source::file;
    if (command.count("--synthetic") != 0) track.source = TrackOptions::Source::synthetic;
    const bool microphone = track.source == TrackOptions::Source::microphone;
    track.fullSpeed = raw.speed.empty() ? !microphone : raw.speed == "max";
    require(!track.fullSpeed || !microphone, "--speed max needs --input or --synthetic");
    require(!track.start || track.fullSpeed, "--start needs --speed max");
    require(track.interruptions.empty() || !microphone, "--interrupt needs --input or --synthetic");
    require(command.count("--synthetic") == 0 || track.synthetic.count() > 0,
            "--synthetic: must be longer than 0");
    require(!track.duration || track.duration->count() > 0, "--duration: must be longer than 0");
    std::sort(track.interruptions.begin(), track.interruptions.end(),
              [](const Stretch& a, const Stretch& b) { return a.from < b.from; });
    for (std::size_t i = 1; i < track.interruptions.size(); ++i)
        require(track.interruptions[i - 1].to <= track.interruptions[i].from,
                "--interrupt: stretches overlap");
    return track;
}

SessionsOptions checkSessions(Raw& raw) {
    raw.sessions.descending = raw.order == "desc";
    require(raw.sessions.offset >= 0, "--offset: must not be negative");
    require(raw.sessions.limit > 0, "--limit: must be at least 1");
    return raw.sessions;
}

// A key is what tells the service whose application this is; the service in this process takes any.
void checkService(SharedOptions& shared, bool needsUser) {
    if (!shared.baseUrl) {
        if (shared.apiKey.empty()) shared.apiKey = "local";
        if (shared.userId.empty()) shared.userId = "local";
        return;
    }
    require(!shared.apiKey.empty(),
            "--api-key (or VELMOR_API_KEY) is needed for " + shared.baseUrl->absoluteString());
    require(!needsUser || !shared.userId.empty(), "--user-id (or VELMOR_USER_ID) is needed");
}

void choose(Raw& raw, const CLI::App& command) {
    Invocation& result = raw.result;
    const std::string& name = command.get_name();
    if (name == "track") result.command = checkTrack(raw, command);
    if (name == "mel") result.command = raw.mel;
    if (name == "report") result.command = raw.report;
    if (name == "sessions") result.command = checkSessions(raw);
    if (name == "average") result.command = raw.average;
    if (name == "delete-report") result.command = raw.deleteReport;
    if (name == "delete-user") result.command = DeleteUserOptions{};
    if (name == "serve") result.command = raw.serve;
    if (name == "doctor") result.command = DoctorOptions{};
    const bool local = name == "mel" || name == "serve" || name == "doctor";
    if (!local) checkService(result.shared, name == "average" || name == "sessions" || name == "delete-user");
}

ExitCode complain(const CLI::App& app, const std::string& text) {
    const auto chosen = app.get_subcommands();
    const std::string command = chosen.empty() ? "velmor" : "velmor " + chosen.front()->get_name();
    std::cerr << command << ": " << text << "\nTry '" << command << " --help'.\n";
    return ExitCode::usage;
}

void addCommands(CLI::App& app, Raw& raw) {
    app.set_version_flag("--version", std::string("velmor ") + VELMOR_VERSION, "print the version and leave");
    app.require_subcommand(1);
    addTrack(app, raw);
    addMel(app, raw);
    addReports(app, raw);
    addServe(app, raw);
    CLI::App& doctor = *app.add_subcommand("doctor", "Say whether this machine is fit to record a night");
    addService(doctor, raw.result.shared);
    addOutput(doctor, raw.result.shared);
}

// In the order in which the parser takes them: the last one first. "velmor help track" is "velmor track
// --help".
std::vector<std::string> argumentsOf(int argc, const char* const* argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (!arguments.empty() && arguments.front() == "help") {
        arguments.erase(arguments.begin());
        arguments.emplace_back("--help");
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

}  // namespace

std::variant<Invocation, ExitCode> parseCommandLine(int argc, const char* const* argv) {
    CLI::App app("Track a night of sleep, and look at what came of it.", "velmor");
    Raw raw;
    addCommands(app, raw);
    try {
        app.parse(argumentsOf(argc, argv));
        choose(raw, *app.get_subcommands().front());
    } catch (const CLI::Success& request) {
        app.exit(request);
        return ExitCode::done;
    } catch (const CLI::ParseError& error) {
        return complain(app, error.what());
    } catch (const std::invalid_argument& error) {
        return complain(app, error.what());
    }
    return raw.result;
}

}  // namespace VelmorApp
