// What stands behind `Reports`: builds the queries and sends them over its own sessions service's transport.
#pragma once

#include "APIService/APIService.hpp"
#include "Runtime/Text.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <Velmor/Async.hpp>
#include <Velmor/Config.hpp>
#include <Velmor/Platform.hpp>
#include <Velmor/Reports.hpp>

namespace Velmor {

class Endpoint;
class LogAPI;
class SessionsService;

/// Any thread. Answers are decoded, and callbacks called, on the platform's tasks. Releasing it ends what is
/// under way as cancelled.
class ReportQueries : public std::enable_shared_from_this<ReportQueries> {
  public:
    static std::shared_ptr<ReportQueries> make(const std::shared_ptr<const Platform>& platform,
                                               const std::shared_ptr<LogAPI>& log);

    /// For queries made from then on.
    void setConfig(Config config);
    /// None before the first.
    std::optional<Config> config();

    /// Each query takes the configuration under which it was made, for its task may start after the next one
    /// was set.
    Async<Model::Report> report(const std::optional<Config>& config, const std::string& sessionId);
    Async<Reports::Sessions> reports(const std::optional<Config>& config, const std::string& fromDate,
                                     const std::string& toDate, Model::OrderBy orderBy, std::int64_t offset,
                                     std::int64_t limit);
    Async<void> deleteReport(const std::optional<Config>& config, const std::string& sessionId);
    Async<Model::AverageReport> getAverageReport(const std::optional<Config>& config,
                                                 const std::string& fromDate, const std::string& toDate);

    static std::string sessionsEntry(const std::string& fromDate, const std::string& toDate,
                                     std::int64_t offset, std::int64_t limit);
    static std::string averageEntry(const char* form, const std::string& fromDate, const std::string& toDate);
    void logEntry(Pieces line) noexcept;
    /// Runs `start` as a task of its own.
    void detach(std::function<void(ReportQueries&)> start);
    /// Posts the application's code to the platform's tasks, its exceptions contained. Outlives this object.
    std::function<void(Executor::Task)> callbacks() const;

  private:
    ReportQueries(const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log);

    template <class Record, class T, class Convert>
    Async<T> send(std::string_view method, const Endpoint& endpoint, const std::optional<Config>& config,
                  const Convert& convert);
    /// Calls `tell` with a record or with what went wrong.
    void ask(std::string_view method, const Endpoint& endpoint, const std::optional<Config>& config,
             RecordDecoder decoder, std::function<void(const APIOutcome&)> tell);

    const std::shared_ptr<const Platform> platform_;
    const std::shared_ptr<LogAPI> log_;
    const std::shared_ptr<SessionsService> sessionService_;
    Mutex mutex_;
    std::optional<Config> config_ VELMOR_GUARDED_BY(mutex_);
};

}  // namespace Velmor
