#include "APIService/Endpoint.hpp"

#include "Runtime/Text.hpp"

#include <algorithm>

#include <Velmor/Error.hpp>

namespace Velmor {
namespace {

constexpr std::string_view kUnreservedMarks = "-._~";
constexpr std::string_view kQueryMarks = "-._~!$&'()*+,;=:@/?";

bool isAlphanumeric(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// Empty when the id can be a path segment.
std::string faultOf(std::string_view id) {
    if (id.empty()) return "an id is empty";
    if (id == "." || id == "..") return "an id is \"" + std::string(id) + "\", which names another place";
    const auto control = std::ranges::find_if(id, isControl);
    if (control == id.end()) return {};
    const auto byte = static_cast<unsigned char>(*control);
    return "an id holds a control character: byte " + std::to_string(control - id.begin() + 1) + " is " +
           std::to_string(byte);
}

void appendEncoded(std::string& out, std::string_view text, std::string_view allowedMarks) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    for (const char c : text) {
        if (isAlphanumeric(c) || allowedMarks.find(c) != std::string_view::npos) {
            out += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        out += '%';
        out += kDigits[byte >> 4];
        out += kDigits[byte & 0xF];
    }
}

}  // namespace

Endpoint::Endpoint(const char* method, std::string_view text)
    : method_(method), readable_(text), encoded_(text) {}

Endpoint& Endpoint::text(std::string_view text) & {
    readable_.append(text);
    encoded_.append(text);
    return *this;
}

Endpoint& Endpoint::id(std::string_view id) & {
    if (fault_.empty()) fault_ = faultOf(id);
    readable_.append(id);
    appendEncoded(encoded_, id, kUnreservedMarks);
    return *this;
}

Endpoint& Endpoint::query(std::string_view text) & {
    hasQuery_ = true;
    readable_.append(text);
    appendEncoded(encoded_, text, kQueryMarks);
    return *this;
}

Url Endpoint::url(const Url& base) const {
    if (fault_.empty()) return base.appending(encoded_);
    if (hasQuery_) throw VelmorError(VelmorError::responseResult{readable_});
    throw PlatformError(PlatformError::Kind::badRequest, fault_);
}

}  // namespace Velmor
