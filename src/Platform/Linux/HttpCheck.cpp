#include "Platform/Linux/HttpCheck.hpp"

#include "Runtime/Text.hpp"

#include <algorithm>
#include <array>
#include <string>

namespace Velmor {
namespace {

// They frame the message or name its receiver: the transport sends its own, and a second one would let a
// server and a proxy disagree about where the request ends.
constexpr std::array<std::string_view, 4> kOwnHeaders{"host", "content-length", "transfer-encoding",
                                                      "connection"};

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// RFC 9110, 5.6.2.
bool isTokenCharacter(char c) {
    constexpr std::string_view kMarks = "!#$%&'*+-.^_`|~";
    return (lower(c) >= 'a' && lower(c) <= 'z') || (c >= '0' && c <= '9') ||
           kMarks.find(c) != std::string_view::npos;
}

bool isToken(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, isTokenCharacter);
}

PlatformError bad(std::string_view message) {
    return {PlatformError::Kind::badRequest, message};
}

}  // namespace

bool isBlank(std::string_view text) {
    return text.find_first_not_of(' ') == std::string_view::npos;
}

std::optional<PlatformError> refusal(const HttpRequest& request, const HttpOptions& options) {
    if (!isToken(request.method)) return bad("the method is not a word");
    for (const auto& [name, value] : request.headers) {
        // The value may be a secret, the name may hold anything: neither goes into the message.
        if (!isToken(name)) return bad("a header name holds a character that is not allowed there");
        if (std::ranges::any_of(value, isControl))
            return bad(joined({"the value of header ", name, " holds a control character"}));
        for (const auto own : kOwnHeaders)
            if (equalIgnoringCase(name, own))
                return bad(joined({"header ", name, " is the transport's to send"}));
    }
    if (request.url.scheme() == "http" && !options.allowClearText && !request.url.isLoopback())
        return PlatformError(
            PlatformError::Kind::insecure,
            joined({"clear text to another machine is not allowed: ", request.url.origin()}));
    return {};
}

}  // namespace Velmor
