#include "Reports/ReportQueries.hpp"

#include "APIService/Requests.hpp"
#include "Log/LogAPI.hpp"
#include "Runtime/Contain.hpp"
#include "Runtime/Text.hpp"
#include "SessionService/SessionsService.hpp"

#include <utility>

namespace Velmor {
namespace {

template <class T>
Async<T> refusedInDeveloperMode() {
    const AsyncPromise<T> promise;
    promise.set(VelmorError(VelmorError::unsupportedInDeveloperMode{}));
    return promise.async();
}

Endpoint sessionListEndpoint(const std::string& fromDate, const std::string& toDate, Model::OrderBy orderBy,
                             std::int64_t offset, std::int64_t limit) {
    return Endpoint("").query(joined({"data/v1/sessions?date_gte=", fromDate, "&date_lte=", toDate,
                                      "&order_by=", Model::rawValue(orderBy),
                                      "&offset=", std::to_string(offset), "&limit=", std::to_string(limit)}));
}

}  // namespace

std::shared_ptr<ReportQueries> ReportQueries::make(const std::shared_ptr<const Platform>& platform,
                                                   const std::shared_ptr<LogAPI>& log) {
    return std::shared_ptr<ReportQueries>(new ReportQueries(platform, log));
}

ReportQueries::ReportQueries(const std::shared_ptr<const Platform>& platform,
                             const std::shared_ptr<LogAPI>& log)
    : platform_(platform), log_(log), sessionService_(SessionsService::make(platform_, log_)) {}

void ReportQueries::setConfig(Config config) {
    const Lock lock(mutex_);
    config_ = std::move(config);
}

std::optional<Config> ReportQueries::config() {
    const Lock lock(mutex_);
    return config_;
}

std::string ReportQueries::sessionsEntry(const std::string& fromDate, const std::string& toDate,
                                         std::int64_t offset, std::int64_t limit) {
    return joined({"[CALL] reports callback ", fromDate, " - ", toDate, ", offset : ", std::to_string(offset),
                   ", limit : ", std::to_string(limit)});
}

std::string ReportQueries::averageEntry(const char* form, const std::string& fromDate,
                                        const std::string& toDate) {
    return joined({"[CALL] getAverageReport ", form, " ", fromDate, " - ", toDate});
}

void ReportQueries::logEntry(Pieces line) noexcept {
    log_->log(LogAPI::Level::I, "reports", line);
}

void ReportQueries::detach(std::function<void(ReportQueries&)> start) {
    platform_->tasks->post([self = shared_from_this(), start = std::move(start)] { start(*self); });
}

std::function<void(Executor::Task)> ReportQueries::callbacks() const {
    return [tasks = platform_->tasks, log = log_](Executor::Task callback) {
        tasks->post([log, callback = std::move(callback)] {
            contain(callback, [&](const std::string& reason) {
                log->log(LogAPI::Level::E, "reports", {"Completion block failed: ", reason});
            });
        });
    };
}

void ReportQueries::ask(std::string_view method, const Endpoint& endpoint,
                        const std::optional<Config>& config, RecordDecoder decoder,
                        std::function<void(const APIOutcome&)> tell) {
    const auto& path = endpoint.readable();
    const auto nothing = [path] {
        return APIOutcome{std::make_exception_ptr(VelmorError(VelmorError::responseResult{path})), {}};
    };
    if (!config) return tell(nothing());
    try {
        sessionService_->apiService().request(
            jsonRequest(method, endpoint, *config, *platform_->device), platform_->tasks, decoder,
            [tell, nothing, log = log_](const APIOutcome& answer) {
                const bool empty = !answer.error && !answer.record;
                contain([&] { tell(empty ? nothing() : answer); },
                        [&](const std::string& reason) {
                            log->log(LogAPI::Level::E, "reports", {"A waiting task failed: ", reason});
                        });
            });
    } catch (...) {
        tell({std::current_exception(), {}});
    }
}

/// `convert` takes the record of the answer and gives what the query promises.
template <class Record, class T, class Convert>
Async<T> ReportQueries::send(std::string_view method, const Endpoint& endpoint,
                             const std::optional<Config>& config, const Convert& convert) {
    const AsyncPromise<T> promise;
    ask(method, endpoint, config, decodeRecord<Record>, [promise, convert](const APIOutcome& answer) {
        if (answer.error)
            promise.set(VelmorError::from(answer.error));
        else
            promise.set(convert(*answer.as<Record>()));
    });
    return promise.async();
}

Async<Model::Report> ReportQueries::report(const std::optional<Config>& config,
                                           const std::string& sessionId) {
    logEntry({"[CALL] report callback ", sessionId});
    log_->debugPrint({"Reports: get report, sessionId = ", sessionId});
    return send<Model::Report, Model::Report>("GET", Endpoint("data/v3/sessions/").id(sessionId), config,
                                              [](const Model::Report& report) { return report; });
}

Async<Reports::Sessions> ReportQueries::reports(const std::optional<Config>& config,
                                                const std::string& fromDate, const std::string& toDate,
                                                Model::OrderBy orderBy, std::int64_t offset,
                                                std::int64_t limit) {
    logEntry({sessionsEntry(fromDate, toDate, offset, limit)});
    log_->debugPrint({"Reports: get sessions, from: ", fromDate, " to: ", toDate});
    if (DeveloperMode::isOn()) return refusedInDeveloperMode<Reports::Sessions>();
    return send<Model::ReportList, Reports::Sessions>(
        "GET", sessionListEndpoint(fromDate, toDate, orderBy, offset, limit), config,
        [](const Model::ReportList& list) { return list.sleepSessionList; });
}

Async<void> ReportQueries::deleteReport(const std::optional<Config>& config, const std::string& sessionId) {
    logEntry({"[CALL] deleteReport callback ", sessionId});
    log_->debugPrint({"Reports: delete report, sessionId = ", sessionId});
    if (DeveloperMode::isOn()) return refusedInDeveloperMode<void>();
    return send<Model::DeleteReport, void>("DELETE", Endpoint("ai/v1/sessions/").id(sessionId), config,
                                           [](const Model::DeleteReport&) { return std::monostate{}; });
}

Async<Model::AverageReport> ReportQueries::getAverageReport(const std::optional<Config>& config,
                                                            const std::string& fromDate,
                                                            const std::string& toDate) {
    const std::string userId = config ? config->userId() : "";
    logEntry({averageEntry("async", fromDate, toDate)});
    log_->debugPrint(
        {"Reports: get average report, userId = ", userId, " from: ", fromDate, " to: ", toDate});
    if (DeveloperMode::isOn()) return refusedInDeveloperMode<Model::AverageReport>();
    return send<Model::AverageReport, Model::AverageReport>(
        "GET",
        Endpoint("data/v1/users/")
            .id(userId)
            .query(joined({"/average-stats?start_date=", fromDate, "&end_date=", toDate})),
        config, [](const Model::AverageReport& report) { return report; });
}

}  // namespace Velmor
