// The record in which the log goes to the log proxy, in the format of the Datadog log intake.
#pragma once

#include "APIService/Fields.hpp"

#include <optional>
#include <string>

#include <Velmor/Config.hpp>
#include <Velmor/Platform.hpp>
#include <Velmor/Platform/Http.hpp>

namespace Velmor::LogUpload {

struct Request {
    std::string ddsource;
    std::string ddtags;
    std::string hostname;
    std::string message;  ///< the whole text
    std::string service;  ///< the host application
};

/// Any well-formed answer will do.
struct Response {};

/// To the intake at the platform's log proxy, or at the production one. Throws PlatformError when a text is
/// not UTF-8.
HttpRequest call(const Platform& platform, const Config& config, const std::optional<std::string>& sessionId,
                 std::string message);

}  // namespace Velmor::LogUpload

namespace Velmor {

VELMOR_FIELDS(LogUpload::Request, ddsource, ddtags, hostname, message, service)
VELMOR_FIELDS(LogUpload::Response)

}  // namespace Velmor
