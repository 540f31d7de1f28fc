#include "Reports/ReportQueries.hpp"

#include <utility>

#include <Velmor/Reports.hpp>

namespace Velmor {
namespace {

/// Runs the asynchronous form in a task of its own, under the configuration of this moment, then calls `tell`
/// with its outcome.
template <class T, class Start>
void detach(ReportQueries& queries, Start start,
            std::function<void(const typename Async<T>::Outcome&)> tell) {
    queries.detach([config = queries.config(), start = std::move(start),
                    tell = std::move(tell)](ReportQueries& running) {
        const Async<T> query = start(running, config);
        query.then([query, tell, post = running.callbacks()](const auto&) {
            post([query, tell] { query.then(tell); });  // which is now at once
        });
    });
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

}  // namespace

Reports::Reports(std::shared_ptr<ReportQueries> queries) : queries_(std::move(queries)) {}

Reports::~Reports() = default;

Async<Model::Report> Reports::report(const std::string& sessionId) {
    return queries_->report(queries_->config(), sessionId);
}

void Reports::report(const std::string& sessionId, CompletionBlock<Model::Report> completionBlock) {
    queries_->logEntry({"[CALL] report callback ", sessionId});
    detach<Model::Report>(
        *queries_,
        [sessionId](auto& queries, const auto& config) { return queries.report(config, sessionId); },
        passTo<Model::Report>(std::move(completionBlock)));
}

Async<Reports::Sessions> Reports::reports(const std::string& fromDate, const std::string& toDate,
                                          Model::OrderBy orderBy, std::int64_t offset, std::int64_t limit) {
    return queries_->reports(queries_->config(), fromDate, toDate, orderBy, offset, limit);
}

void Reports::reports(const std::string& fromDate, const std::string& toDate, Model::OrderBy orderBy,
                      std::int64_t offset, std::int64_t limit, CompletionBlock<Sessions> completionBlock) {
    queries_->logEntry({ReportQueries::sessionsEntry(fromDate, toDate, offset, limit)});
    detach<Sessions>(
        *queries_,
        [=](auto& queries, const auto& config) {
            return queries.reports(config, fromDate, toDate, orderBy, offset, limit);
        },
        passTo<Sessions>(std::move(completionBlock)));
}

Async<void> Reports::deleteReport(const std::string& sessionId) {
    return queries_->deleteReport(queries_->config(), sessionId);
}

void Reports::deleteReport(const std::string& sessionId,
                           std::function<void(std::optional<VelmorError>)> completionBlock) {
    queries_->logEntry({"[CALL] deleteReport callback ", sessionId});
    detach<void>(
        *queries_,
        [sessionId](auto& queries, const auto& config) { return queries.deleteReport(config, sessionId); },
        [completionBlock = std::move(completionBlock)](const Async<void>::Outcome& outcome) {
            const auto* error = std::get_if<VelmorError>(&outcome);
            completionBlock(error ? std::optional(*error) : std::nullopt);
        });
}

Async<Model::AverageReport> Reports::getAverageReport(const std::string& fromDate,
                                                      const std::string& toDate) {
    return queries_->getAverageReport(queries_->config(), fromDate, toDate);
}

void Reports::getAverageReport(const std::string& fromDate, const std::string& toDate,
                               CompletionBlock<Model::AverageReport> completionBlock) {
    queries_->logEntry({ReportQueries::averageEntry("callback", fromDate, toDate)});
    detach<Model::AverageReport>(
        *queries_,
        [=](auto& queries, const auto& config) { return queries.getAverageReport(config, fromDate, toDate); },
        passTo<Model::AverageReport>(std::move(completionBlock)));
}

}  // namespace Velmor
