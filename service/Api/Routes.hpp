#pragma once

#include "service/Http/Router.hpp"
#include "service/Store/Store.hpp"

#include <string>

namespace VelmorService {

/// Each function adds one subject's endpoints to a router. The store must outlive the router. Handlers
/// throw ApiError for what they refuse.

void addUserRoutes(Router& router, Store& store);
void addSessionRoutes(Router& router, Store& store);
void addReportRoutes(Router& router, Store& store);
void addLogRoutes(Router& router, Store& store);
/// The same paths under "mock/", with one made-up night that needs no upload.
void addMockRoutes(Router& router);
/// What the page and tools read: "inspect/...", no API key.
void addInspectRoutes(Router& router, Store& store);
/// The page at "/".
void addPageRoutes(Router& router);

/// Helpers that several subjects share.

/// The "x-user-id" header; throws ApiError 400 when there is none.
std::string requiredUser(const Request& request);
/// The "timezone" header, "UTC" when there is none.
std::string timezoneOf(const Request& request);
/// An id as it came in a path; throws ApiError 400 when it is longer than 256 bytes or holds control
/// characters.
const std::string& checkedId(const std::string& id);
/// A decimal number from `least` to `most`; throws ApiError 400 that names `what`.
std::int64_t checkedNumber(const std::string& text, std::int64_t least, std::int64_t most,
                           const std::string& what);
[[noreturn]] void refuseUnknownSession(const std::string& id);
/// The session; throws ApiError 404.
SessionRow requiredSession(Store& store, const std::string& id);
/// The report record of a session.
nlohmann::ordered_json reportJson(const SessionRow& session);
/// The bytes of the one mel array in an upload; throws ApiError 400 when form or array are not as they should
/// be.
std::string_view uploadedMel(const Request& request);

/// Greatest sequence number that is taken: almost a year of audio.
inline constexpr std::int64_t kGreatestSequence = 1'000'000;
/// Shortest session that an analysis would take.
inline constexpr std::int64_t kShortestAnalysisSeconds = 30 * 60;

}  // namespace VelmorService
