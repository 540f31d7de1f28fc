#pragma once

#include <memory>
#include <string>

#include <Velmor/Platform/Http.hpp>

namespace Velmor {

/// The transport with libcurl from the file `library`, which its thread loads when the first request is sent.
/// As long as that fails, requests end with the reason.
std::shared_ptr<HttpTransport> makeCurlTransport(HttpOptions options, std::string library);

}  // namespace Velmor
