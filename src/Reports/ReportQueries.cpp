#include "Reports/ReportQueries.hpp"

#include "Log/LogAPI.hpp"
#include "Runtime/Contain.hpp"

#include <utility>

namespace Velmor {
namespace {

template <class T>
Async<T> refusedInDeveloperMode() {
    const AsyncPromise<T> promise;
    promise.set(VelmorError(VelmorError::unsupportedInDeveloperMode{}));
    return promise.async();
}

template <class T>
std::function<void(const typename Async<T>::Outcome&)> passTo(Reports::CompletionBlock<T> completionBlock) {
    return [completionBlock = std::move(completionBlock)](const typename Async<T>::Outcome& outcome) {
        if (const auto* error = std::get_if<VelmorError>(&outcome))
            completionBlock({}, *error);
        else
            completionBlock(std::get<T>(outcome), {});
    };
}

std::string reportEntry(const std::string& sessionId) {
    return "[CALL] report callback " + sessionId;
}

std::string sessionsEntry(const std::string& fromDate, const std::string& toDate, std::int64_t offset,
                          std::int64_t limit) {
    return "[CALL] reports callback " + fromDate + " - " + toDate + ", offset : " + std::to_string(offset) +
           ", limit : " + std::to_string(limit);
}

std::string deletionEntry(const std::string& sessionId) {
    return "[CALL] deleteReport callback " + sessionId;
}

std::string averageEntry(const std::string& form, const std::string& fromDate, const std::string& toDate) {
    return "[CALL] getAverageReport " + form + " " + fromDate + " - " + toDate;
}

}  // namespace

std::shared_ptr<ReportQueries> ReportQueries::make(const std::shared_ptr<const Platform>& platform,
                                                   const std::shared_ptr<LogAPI>& log, Config config) {
    return std::shared_ptr<ReportQueries>(new ReportQueries(platform, log, std::move(config)));
}

ReportQueries::ReportQueries(const std::shared_ptr<const Platform>& platform,
                             const std::shared_ptr<LogAPI>& log, Config config)
    : platform_(platform),
      log_(log),
      apiService_(std::make_shared<APIService>(platform_->http)),
      config_(std::move(config)) {}

void ReportQueries::setConfig(Config config) {
    const Lock lock(mutex_);
    config_ = std::move(config);
}

Config ReportQueries::config() {
    const Lock lock(mutex_);
    return config_;
}

void ReportQueries::logEntry(std::string_view line) noexcept {
    log_->log(LogAPI::Level::I, "reports", line);
}

// --- the asynchronous forms ---

Async<Model::Report> ReportQueries::report(const std::string& sessionId) {
    return query(config(), sessionId);
}

Async<Reports::Sessions> ReportQueries::reports(const std::string& fromDate, const std::string& toDate,
                                                Model::OrderBy orderBy, std::int64_t offset,
                                                std::int64_t limit) {
    return query(config(), fromDate, toDate, orderBy, offset, limit);
}

Async<void> ReportQueries::deleteReport(const std::string& sessionId) {
    return queryDeletion(config(), sessionId);
}

Async<Model::AverageReport> ReportQueries::getAverageReport(const std::string& fromDate,
                                                            const std::string& toDate) {
    return queryAverage(config(), fromDate, toDate);
}

// --- the callback forms ---

template <class T, class Start>
void ReportQueries::detach(Start start, std::function<void(const typename Async<T>::Outcome&)> tell) {
    platform_->tasks->post(
        [self = shared_from_this(), config = config(), start = std::move(start), tell = std::move(tell)] {
            const Async<T> query = start(*self, config);
            query.then([query, tell, tasks = self->platform_->tasks, log = self->log_](const auto&) {
                tasks->post([query, tell, log] {
                    contain([&] { query.then(tell); },  // calls it at once, as the outcome is there
                            [&](const std::string& reason) {
                                log->log(LogAPI::Level::E, "reports", "Completion block failed: " + reason);
                            });
                });
            });
        });
}

void ReportQueries::report(const std::string& sessionId, CompletionBlock<Model::Report> completionBlock) {
    logEntry(reportEntry(sessionId));
    detach<Model::Report>([=](auto& self, const Config& config) { return self.query(config, sessionId); },
                          passTo<Model::Report>(std::move(completionBlock)));
}

void ReportQueries::reports(const std::string& fromDate, const std::string& toDate, Model::OrderBy orderBy,
                            std::int64_t offset, std::int64_t limit,
                            CompletionBlock<Sessions> completionBlock) {
    logEntry(sessionsEntry(fromDate, toDate, offset, limit));
    detach<Sessions>(
        [=](auto& self, const Config& config) {
            return self.query(config, fromDate, toDate, orderBy, offset, limit);
        },
        passTo<Sessions>(std::move(completionBlock)));
}

void ReportQueries::deleteReport(const std::string& sessionId,
                                 std::function<void(std::optional<VelmorError>)> completionBlock) {
    logEntry(deletionEntry(sessionId));
    detach<void>([=](auto& self, const Config& config) { return self.queryDeletion(config, sessionId); },
                 [completionBlock = std::move(completionBlock)](const Async<void>::Outcome& outcome) {
                     const auto* error = std::get_if<VelmorError>(&outcome);
                     completionBlock(error ? std::optional(*error) : std::nullopt);
                 });
}

void ReportQueries::getAverageReport(const std::string& fromDate, const std::string& toDate,
                                     CompletionBlock<Model::AverageReport> completionBlock) {
    logEntry(averageEntry("callback", fromDate, toDate));
    detach<Model::AverageReport>(
        [=](auto& self, const Config& config) { return self.queryAverage(config, fromDate, toDate); },
        passTo<Model::AverageReport>(std::move(completionBlock)));
}

// --- the queries ---

template <class Record>
void ReportQueries::sendCall(ServiceCall<Record> call, std::function<void(const APIResult<Record>&)> tell) {
    apiService_->request<Record>(
        std::move(call.request), platform_->tasks,
        [path = std::move(call.path), tell = std::move(tell), log = log_](APIResult<Record> result) {
            if (!result.error && !result.record)
                result.error = std::make_exception_ptr(VelmorError(VelmorError::responseResult{path}));
            contain([&] { tell(result); },
                    [&](const std::string& reason) {
                        log->log(LogAPI::Level::E, "reports", "A waiting task failed: " + reason);
                    });
        });
}

template <class T, class MakeCall, class Convert>
Async<T> ReportQueries::send(const MakeCall& makeCall, const Convert& convert) {
    const AsyncPromise<T> promise;
    try {
        sendCall(makeCall(), {[promise, convert](const auto& result) {
                     if (result.error)
                         promise.set(VelmorError::from(result.error));
                     else
                         promise.set(convert(*result.record));
                 }});
    } catch (...) {
        promise.set(VelmorError::from(std::current_exception()));
    }
    return promise.async();
}

Async<Model::Report> ReportQueries::query(const Config& config, const std::string& sessionId) {
    logEntry(reportEntry(sessionId));
    log_->debugPrint("Reports: get report, sessionId = " + sessionId);
    return send<Model::Report>(
        [&] {
            return ServiceCalls::readReport({config, *platform_->device}, sessionId);
        },
        [](const Model::Report& report) { return report; });
}

Async<Reports::Sessions> ReportQueries::query(const Config& config, const std::string& fromDate,
                                              const std::string& toDate, Model::OrderBy orderBy,
                                              std::int64_t offset, std::int64_t limit) {
    logEntry(sessionsEntry(fromDate, toDate, offset, limit));
    log_->debugPrint("Reports: get sessions, from: " + fromDate + " to: " + toDate);
    if (DeveloperMode::isOn()) return refusedInDeveloperMode<Sessions>();
    return send<Sessions>(
        [&] {
            return ServiceCalls::listSessions({config, *platform_->device}, fromDate, toDate, orderBy, offset,
                                              limit);
        },
        [](const Model::ReportList& list) { return list.sleepSessionList; });
}

Async<void> ReportQueries::queryDeletion(const Config& config, const std::string& sessionId) {
    logEntry(deletionEntry(sessionId));
    log_->debugPrint("Reports: delete report, sessionId = " + sessionId);
    if (DeveloperMode::isOn()) return refusedInDeveloperMode<void>();
    return send<void>(
        [&] {
            return ServiceCalls::deleteReport({config, *platform_->device}, sessionId);
        },
        [](const Model::DeleteReport&) { return std::monostate{}; });
}

Async<Model::AverageReport> ReportQueries::queryAverage(const Config& config, const std::string& fromDate,
                                                        const std::string& toDate) {
    logEntry(averageEntry("async", fromDate, toDate));
    log_->debugPrint("Reports: get average report, userId = " + config.userId() + " from: " + fromDate +
                     " to: " + toDate);
    if (DeveloperMode::isOn()) return refusedInDeveloperMode<Model::AverageReport>();
    return send<Model::AverageReport>(
        [&] {
            return ServiceCalls::readAverageReport({config, *platform_->device}, fromDate, toDate);
        },
        [](const Model::AverageReport& report) { return report; });
}

}  // namespace Velmor
