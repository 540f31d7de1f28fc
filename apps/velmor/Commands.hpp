// The commands. Results go to standard output, everything else to the screen; what goes wrong is told there
// and comes back as the exit code.
#pragma once

#include "ExitCode.hpp"
#include "Options.hpp"
#include "Screen.hpp"

namespace VelmorApp {

ExitCode track(const SharedOptions& shared, const TrackOptions& options, Screen& screen);
ExitCode mel(const SharedOptions& shared, const MelOptions& options, Screen& screen);
ExitCode report(const SharedOptions& shared, const ReportOptions& options, Screen& screen);
ExitCode sessions(const SharedOptions& shared, const SessionsOptions& options, Screen& screen);
ExitCode average(const SharedOptions& shared, const AverageOptions& options, Screen& screen);
ExitCode deleteReport(const SharedOptions& shared, const DeleteReportOptions& options, Screen& screen);
ExitCode deleteUser(const SharedOptions& shared, const DeleteUserOptions& options, Screen& screen);
ExitCode doctor(const SharedOptions& shared, const DoctorOptions& options, Screen& screen);
ExitCode serve(const SharedOptions& shared, const ServeOptions& options, Screen& screen);

}  // namespace VelmorApp
