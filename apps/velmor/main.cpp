#include "Commands.hpp"
#include "Interrupt.hpp"

#include <cstdio>
#include <exception>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace VelmorApp {
namespace {

struct Run {
    const SharedOptions& shared;
    Screen& screen;

    ExitCode operator()(const TrackOptions& options) const { return track(shared, options, screen); }
    ExitCode operator()(const ServeOptions& options) const { return serve(shared, options, screen); }
    ExitCode operator()(const MelOptions& options) const { return mel(shared, options, screen); }
    ExitCode operator()(const ReportOptions& options) const { return report(shared, options, screen); }
    ExitCode operator()(const SessionsOptions& options) const { return sessions(shared, options, screen); }
    ExitCode operator()(const AverageOptions& options) const { return average(shared, options, screen); }
    ExitCode operator()(const DeleteReportOptions& options) const {
        return deleteReport(shared, options, screen);
    }
    ExitCode operator()(const DeleteUserOptions& options) const {
        return deleteUser(shared, options, screen);
    }
    ExitCode operator()(const DoctorOptions& options) const { return doctor(shared, options, screen); }
};

ExitCode run(const Invocation& invocation) {
    Screen screen(invocation.shared.quiet);
    try {
        return std::visit(Run{invocation.shared, screen}, invocation.command);
    } catch (const std::exception& error) {
        screen.error(error.what());
        return ExitCode::failed;
    }
}

// Every thread of the local service would otherwise grow a heap of its own in the course of the night.
void keepMemorySmall() {
#if defined(__GLIBC__)
    mallopt(M_ARENA_MAX, 2);
#endif
}

}  // namespace
}  // namespace VelmorApp

int main(int argc, char** argv) {
    using namespace VelmorApp;
    keepMemorySmall();
    watchForInterrupt();
    const auto parsed = parseCommandLine(argc, argv);
    if (const auto* code = std::get_if<ExitCode>(&parsed)) return static_cast<int>(*code);
    const ExitCode code = run(std::get<Invocation>(parsed));
    // A full disk or a closed pipe shows when the last of the output is written.
    if (std::fflush(stdout) != 0 && code == ExitCode::done) return static_cast<int>(ExitCode::failed);
    return static_cast<int>(code);
}
