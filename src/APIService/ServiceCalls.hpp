// The calls of the service's interface, one function for each: method, path, body and the record of the
// answer.
#pragma once

#include "APIService/RequestRecords.hpp"

#include <cstdint>
#include <string>

#include <Velmor/Config.hpp>
#include <Velmor/Model.hpp>
#include <Velmor/Platform/Device.hpp>
#include <Velmor/Platform/Http.hpp>

namespace Velmor {

/// A call that is ready to be sent.
template <class Record>
struct ServiceCall {
    HttpRequest request;
    std::string path;  ///< as errors name it
};

/// Who calls, and from which device.
struct Caller {
    const Config& config;
    const Device& device;
};

/// Each throws PlatformError for an id that cannot be in a path and for a text that is not UTF-8; those with
/// a query throw VelmorError, case `responseResult`, for the id.
namespace ServiceCalls {

ServiceCall<Model::User> createUser(const Caller& caller);
ServiceCall<Model::User> readUser(const Caller& caller, const std::string& userId);
/// Of the caller's own user.
ServiceCall<Model::DeleteUser> deleteUser(const Caller& caller);

ServiceCall<Model::CreateSession> createSession(const Caller& caller,
                                                const Model::Request::CreateSession& body);
ServiceCall<Model::UploadData> uploadChunk(const Caller& caller, const std::string& sessionId,
                                           std::int64_t sequence, const Model::Request::UploadData& body);
ServiceCall<Model::CloseSession> closeSession(const Caller& caller, const std::string& sessionId,
                                              const Model::Request::CloseSession& body);

ServiceCall<Model::Report> readReport(const Caller& caller, const std::string& sessionId);
ServiceCall<Model::DeleteReport> deleteReport(const Caller& caller, const std::string& sessionId);
ServiceCall<Model::ReportList> listSessions(const Caller& caller, const std::string& fromDate,
                                            const std::string& toDate, Model::OrderBy orderBy,
                                            std::int64_t offset, std::int64_t limit);
/// Of the caller's own user.
ServiceCall<Model::AverageReport> readAverageReport(const Caller& caller, const std::string& fromDate,
                                                    const std::string& toDate);

}  // namespace ServiceCalls
}  // namespace Velmor
