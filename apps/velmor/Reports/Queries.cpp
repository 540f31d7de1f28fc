#include "Commands.hpp"
#include "Problem.hpp"
#include "Reports/Client.hpp"
#include "Reports/Hypnogram.hpp"
#include "Reports/RecordJson.hpp"
#include "Reports/Table.hpp"
#include "Values.hpp"

#include <cstdio>
#include <fstream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace VelmorApp {
namespace {

namespace Model = Velmor::Model;

constexpr std::chrono::seconds kUsualEpoch{30};

ExitCode complain(Screen& screen, const Velmor::VelmorError& error, const Client& client) {
    const Problem problem = problemOf(error, client.service().absoluteString());
    screen.error(problem.text + (problem.advice.empty() ? "" : "\n        " + problem.advice));
    return problem.code;
}

// Waits for a query, and shows its result or says what went wrong.
template <class T, class Show>
ExitCode answer(Screen& screen, const Client& client, const Velmor::Async<T>& query, Show show) {
    const auto outcome = outcomeOf(query);
    if (!outcome) return ExitCode::interrupted;
    if (const auto* error = std::get_if<Velmor::VelmorError>(&*outcome))
        return complain(screen, *error, client);
    return show(std::get<0>(*outcome));
}

void print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

std::size_t terminalWidth() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 40) return 100;
    return std::min<std::size_t>(size.ws_col, 160);
}

// None when the session is under way, or when its dates only mark that they are not known.
std::optional<std::chrono::microseconds> lengthOf(const Model::Session& session) {
    constexpr std::chrono::days kLongest{31};
    if (!session.endTime) return {};
    const auto length = *session.endTime - session.startTime;
    return length < length.zero() || length > kLongest ? std::nullopt : std::optional(length);
}

Hypnogram hypnogramOf(const Model::Session& session) {
    const auto& stages = *session.sleepStages;
    std::chrono::microseconds epoch = kUsualEpoch;
    if (const auto length = lengthOf(session); length && !stages.empty())
        epoch = *length / static_cast<std::int64_t>(stages.size());
    return {stages, session.startTime, epoch};
}

bool hasStages(const Model::Report& report) {
    return report.session.sleepStages && !report.session.sleepStages->empty();
}

std::string listed(const std::vector<Model::Peculiarity>& peculiarities) {
    std::string text;
    for (const auto peculiarity : peculiarities)
        text += (text.empty() ? "" : ", ") + std::string(rawValue(peculiarity));
    return text.empty() ? "none" : text;
}

std::string reportText(const Model::Report& report) {
    const Model::Session& session = report.session;
    Table head;
    head.add({"Session", session.id});
    head.add({"State", std::string(rawValue(session.state))});
    head.add({"Started", localTimeText(session.startTime)});
    if (session.endTime) {
        const auto length = lengthOf(session);
        head.add({"Ended", localTimeText(*session.endTime) +
                               (length ? "  (" + durationText(*length) + ")" : std::string())});
    }
    if (session.unexpectedEndTime) head.add({"Broke off", localTimeText(*session.unexpectedEndTime)});
    head.add({"Time zone", report.timezone});
    head.add({"Missing data", valueText("missingDataRatio", report.missingDataRatio)});
    head.add({"Peculiarities", listed(report.peculiarities)});
    std::string text = head.str();
    if (hasStages(report))
        text += "\n" + hypnogramText(hypnogramOf(session), terminalWidth(), coloursOn(STDOUT_FILENO));
    if (report.stat) text += "\n" + fieldTable(*report.stat).str();
    return text;
}

ExitCode writeSvg(const Model::Report& report, const std::string& path, Screen& screen) {
    if (!hasStages(report)) {
        screen.error("the report has no sleep stages to draw");
        return ExitCode::failed;
    }
    std::ofstream file(path, std::ios::trunc);
    file << hypnogramSvg(hypnogramOf(report.session),
                         localTimeText(report.session.startTime) + "  " + report.session.id);
    file.close();
    if (file) return ExitCode::done;
    screen.error(path + ": cannot be written");
    return ExitCode::failed;
}

std::string sessionsText(const std::vector<Model::SleepSession>& sessions) {
    if (sessions.empty()) return "No sessions.\n";
    Table table;
    table.add({"Session", "State", "Started", "Ended", "In bed", "Last chunk"});
    for (const auto& session : sessions)
        table.add({session.sessionId, std::string(rawValue(session.state)),
                   localTimeText(session.sessionStartTime),
                   session.sessionEndTime ? localTimeText(*session.sessionEndTime) : "-",
                   session.timeInBed ? valueText("timeInBed", *session.timeInBed) : "-",
                   session.lastReceivedSeqNum ? std::to_string(*session.lastReceivedSeqNum) : "-"});
    return table.str();
}

std::string averageText(const Model::AverageReport& report) {
    Table head;
    head.add({"From", Velmor::Iso8601::formatDay(report.period.startDate)});
    head.add({"To", Velmor::Iso8601::formatDay(report.period.endDate)});
    head.add({"Time zone", report.period.timezone});
    head.add({"Peculiarities", listed(report.peculiarities)});
    head.add({"Nights slept", std::to_string(report.sleptSessions.size())});
    head.add({"Nights awake", std::to_string(report.neverSleptSessions.size())});
    std::string text = head.str();
    if (report.averageStats) text += "\n" + fieldTable(*report.averageStats).str();
    return text;
}

// Deleting a user is asked of the current configuration, so it is joined first.
class Farewell : public Velmor::VelmorConfigDelegate {
  public:
    explicit Farewell(const Velmor::AsyncPromise<void>& outcome) : outcome_(outcome) {}
    void userDidJoin(const std::string& /*userId*/, const Velmor::Config& config) override {
        Velmor::deleteUser(config);
    }
    void didFailUserJoin(const Velmor::VelmorError& error) override { outcome_.set(error); }
    void userDidDelete(const std::string& /*userId*/) override { outcome_.set(std::monostate{}); }

  private:
    const Velmor::AsyncPromise<void> outcome_;
};

}  // namespace

ExitCode report(const SharedOptions& shared, const ReportOptions& options, Screen& screen) {
    const Client client(shared, screen);
    return answer(screen, client, client.reports().report(options.sessionId),
                  [&](const Model::Report& report) {
                      print(shared.json ? jsonLine(valueJson(report)) : reportText(report));
                      return options.svg.empty() ? ExitCode::done : writeSvg(report, options.svg, screen);
                  });
}

ExitCode sessions(const SharedOptions& shared, const SessionsOptions& options, Screen& screen) {
    const Client client(shared, screen);
    const auto order = options.descending ? Model::OrderBy::descending : Model::OrderBy::ascending;
    return answer(screen, client,
                  client.reports().reports(options.period.from, options.period.to, order, options.offset,
                                           options.limit),
                  [&](const std::vector<Model::SleepSession>& list) {
                      print(shared.json ? jsonLine({{"sessions", valueJson(list)}}) : sessionsText(list));
                      return ExitCode::done;
                  });
}

ExitCode average(const SharedOptions& shared, const AverageOptions& options, Screen& screen) {
    const Client client(shared, screen);
    return answer(screen, client, client.reports().getAverageReport(options.period.from, options.period.to),
                  [&](const Model::AverageReport& report) {
                      print(shared.json ? jsonLine(valueJson(report)) : averageText(report));
                      return ExitCode::done;
                  });
}

ExitCode deleteReport(const SharedOptions& shared, const DeleteReportOptions& options, Screen& screen) {
    const Client client(shared, screen);
    return answer(screen, client, client.reports().deleteReport(options.sessionId), [&](std::monostate) {
        print(shared.json ? jsonLine({{"deletedReport", options.sessionId}})
                          : "Deleted the report of " + options.sessionId + ".\n");
        return ExitCode::done;
    });
}

ExitCode deleteUser(const SharedOptions& shared, const DeleteUserOptions& /*options*/, Screen& screen) {
    const Client client(shared, screen);
    const Velmor::AsyncPromise<void> outcome;
    Velmor::initVelmorConfig(shared.apiKey, shared.userId, client.service(), {}, {},
                             std::make_shared<Farewell>(outcome));
    return answer(screen, client, outcome.async(), [&](std::monostate) {
        print(shared.json ? jsonLine({{"deletedUser", shared.userId}})
                          : "Deleted user " + shared.userId + ".\n");
        return ExitCode::done;
    });
}

}  // namespace VelmorApp
