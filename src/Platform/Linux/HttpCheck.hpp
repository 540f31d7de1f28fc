// What is refused before one byte goes out, whatever carries the request.
#pragma once

#include <optional>
#include <string_view>

#include <Velmor/Platform/Http.hpp>

namespace Velmor {

/// Kind `badRequest` or `insecure`; none when the request may be sent.
std::optional<PlatformError> refusal(const HttpRequest& request, const HttpOptions& options);

/// Nothing but blanks counts as empty.
bool isBlank(std::string_view text);

}  // namespace Velmor
