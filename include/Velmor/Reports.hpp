/// Reading and deleting the service's analyses. Obtained from `createReports`.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <Velmor/Async.hpp>
#include <Velmor/Error.hpp>
#include <Velmor/Export.hpp>
#include <Velmor/Model.hpp>

namespace Velmor {

/// Each query comes in two forms: one returns an `Async`, the other calls a completion block. Both return at
/// once; several queries may be under way, and end in any order. A query keeps to the configuration of the
/// moment at which it is made. Operations may be called on any thread.
///
/// A completion block is called exactly once, on a thread of the library's, with a result or an error, never
/// both; its exceptions are logged and dropped. Queries that are under way when the object is released end
/// with `unknown` holding a cancelled PlatformError.
///
/// Errors: `httpStatus` for a refusal, `responseResult` for an answer without result,
/// `unsupportedInDeveloperMode`, and `unknown` holding a PlatformError or a DecodingError. A session id that
/// is empty, "." or "..", or holds control characters is refused before anything is sent, with `unknown`
/// holding a PlatformError that says what is wrong with it; the average of a user with such an id is
/// `responseResult`, also before anything is sent.
class VELMOR_API Reports {
  public:
    template <class T>
    using CompletionBlock = std::function<void(std::optional<T>, std::optional<VelmorError>)>;
    using Sessions = std::vector<Model::SleepSession>;

    Reports() = default;
    virtual ~Reports();
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    virtual Async<Model::Report> report(const std::string& sessionId) = 0;
    virtual void report(const std::string& sessionId, CompletionBlock<Model::Report> completionBlock) = 0;

    /// Sessions that started on the days `fromDate` to `toDate` ("yyyy-MM-dd", passed on as they are): at
    /// most `limit` of them, after the first `offset`. Refused in developer mode.
    virtual Async<Sessions> reports(const std::string& fromDate, const std::string& toDate,
                                    Model::OrderBy orderBy, std::int64_t offset, std::int64_t limit) = 0;
    virtual void reports(const std::string& fromDate, const std::string& toDate, Model::OrderBy orderBy,
                         std::int64_t offset, std::int64_t limit,
                         CompletionBlock<Sessions> completionBlock) = 0;

    /// Refused in developer mode.
    virtual Async<void> deleteReport(const std::string& sessionId) = 0;
    virtual void deleteReport(const std::string& sessionId,
                              std::function<void(std::optional<VelmorError>)> completionBlock) = 0;

    /// The configured user's average over the days `fromDate` to `toDate`. Refused in developer mode.
    virtual Async<Model::AverageReport> getAverageReport(const std::string& fromDate,
                                                         const std::string& toDate) = 0;
    virtual void getAverageReport(const std::string& fromDate, const std::string& toDate,
                                  CompletionBlock<Model::AverageReport> completionBlock) = 0;
};

}  // namespace Velmor
