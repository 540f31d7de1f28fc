// The reports object behind the public interface: builds the queries and sends them.
#pragma once

#include "APIService/APIService.hpp"
#include "APIService/ServiceCalls.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <Velmor/Async.hpp>
#include <Velmor/Config.hpp>
#include <Velmor/Platform.hpp>
#include <Velmor/Reports.hpp>

namespace Velmor {

class LogAPI;

/// Answers are decoded, and callbacks called, on the platform's tasks. Releasing it ends what is under way as
/// cancelled.
class ReportQueries : public Reports, public std::enable_shared_from_this<ReportQueries> {
  public:
    static std::shared_ptr<ReportQueries> make(const std::shared_ptr<const Platform>& platform,
                                               const std::shared_ptr<LogAPI>& log, Config config);

    /// For queries made from then on.
    void setConfig(Config config);

    Async<Model::Report> report(const std::string& sessionId) override;
    void report(const std::string& sessionId, CompletionBlock<Model::Report> completionBlock) override;
    Async<Sessions> reports(const std::string& fromDate, const std::string& toDate, Model::OrderBy orderBy,
                            std::int64_t offset, std::int64_t limit) override;
    void reports(const std::string& fromDate, const std::string& toDate, Model::OrderBy orderBy,
                 std::int64_t offset, std::int64_t limit, CompletionBlock<Sessions> completionBlock) override;
    Async<void> deleteReport(const std::string& sessionId) override;
    void deleteReport(const std::string& sessionId,
                      std::function<void(std::optional<VelmorError>)> completionBlock) override;
    Async<Model::AverageReport> getAverageReport(const std::string& fromDate,
                                                 const std::string& toDate) override;
    void getAverageReport(const std::string& fromDate, const std::string& toDate,
                          CompletionBlock<Model::AverageReport> completionBlock) override;

  private:
    ReportQueries(const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log,
                  Config config);

    Config config();

    // Each takes the configuration under which the query was made: the task of a callback form may start
    // after the next one was set.
    Async<Model::Report> query(const Config& config, const std::string& sessionId);
    Async<Sessions> query(const Config& config, const std::string& fromDate, const std::string& toDate,
                          Model::OrderBy orderBy, std::int64_t offset, std::int64_t limit);
    Async<void> queryDeletion(const Config& config, const std::string& sessionId);
    Async<Model::AverageReport> queryAverage(const Config& config, const std::string& fromDate,
                                             const std::string& toDate);

    /// `makeCall` gives the call to send; `convert` turns the record of the answer into what the query
    /// promises.
    template <class T, class MakeCall, class Convert>
    Async<T> send(const MakeCall& makeCall, const Convert& convert);
    template <class Record>
    void sendCall(ServiceCall<Record> call, std::function<void(const APIResult<Record>&)> tell);
    /// Starts a query in a task of its own and passes its outcome to `tell` in another.
    template <class T, class Start>
    void detach(Start start, std::function<void(const typename Async<T>::Outcome&)> tell);

    void logEntry(std::string_view line) noexcept;

    const std::shared_ptr<const Platform> platform_;
    const std::shared_ptr<LogAPI> log_;
    const std::shared_ptr<APIService> apiService_;
    Mutex mutex_;
    Config config_ VELMOR_GUARDED_BY(mutex_);
};

}  // namespace Velmor
