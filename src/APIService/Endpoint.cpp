#include "APIService/Endpoint.hpp"

#include <algorithm>

#include <Velmor/Error.hpp>

namespace Velmor {
namespace {

constexpr std::string_view kUnreservedMarks = "-._~";
constexpr std::string_view kQueryMarks = "-._~!$&'()*+,;=:@/?";

bool isAlphanumeric(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool isControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
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

Endpoint::Endpoint(std::string_view text) : readable_(text), encoded_(text) {}

Endpoint& Endpoint::text(std::string_view text) & {
    readable_.append(text);
    encoded_.append(text);
    return *this;
}

Endpoint& Endpoint::id(std::string_view id) & {
    refused_ = refused_ || id.empty() || id == "." || id == ".." || std::ranges::any_of(id, isControl);
    readable_.append(id);
    appendEncoded(encoded_, id, kUnreservedMarks);
    return *this;
}

Endpoint& Endpoint::query(std::string_view text) & {
    readable_.append(text);
    appendEncoded(encoded_, text, kQueryMarks);
    return *this;
}

Url Endpoint::url(const Url& base) const {
    if (refused_) throw VelmorError(VelmorError::responseResult{readable_});
    return base.appending(encoded_);
}

}  // namespace Velmor
