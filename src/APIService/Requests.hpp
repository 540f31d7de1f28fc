// Requests to the service: URL, standard headers and JSON body.
#pragma once

#include "APIService/Endpoint.hpp"

#include <string>
#include <string_view>

#include <Velmor/Config.hpp>
#include <Velmor/Platform/Device.hpp>
#include <Velmor/Platform/Http.hpp>

namespace Velmor {

/// Who asks, from where and with what, in the order of the wire.
HttpHeaders standardHeaders(const Config& config, const Device& device);

/// Replaces every header of that name, whatever its capitals, by one in the place of the first.
void setHeader(HttpHeaders& headers, std::string_view name, std::string_view value);

/// With the standard headers, "Content-Type" and "Accept" of JSON. Throws as `Endpoint::url` when the
/// endpoint holds an id that was refused.
HttpRequest jsonRequest(const Endpoint& endpoint, const Url& base, const Config& config, const Device& device,
                        std::string body = {});

}  // namespace Velmor
