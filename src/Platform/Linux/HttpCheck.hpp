// What is refused before one byte goes out, whatever carries the request.
#pragma once

#include <optional>
#include <string_view>

#include <Velmor/Platform/Http.hpp>

namespace Velmor {

/// Kind `badRequest` or `insecure`; none when the request may be sent.
std::optional<PlatformError> refusal(const HttpRequest& request, const HttpOptions& options);

/// Without regard to the case of ASCII letters.
bool sameName(std::string_view a, std::string_view b);

/// Nothing but blanks counts as empty.
bool isBlank(std::string_view text);

}  // namespace Velmor
