#include "service/Json/JsonText.hpp"

#include <array>
#include <charconv>
#include <cmath>

namespace VelmorService {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

/// Length of the valid UTF-8 sequence at the beginning of `text` (RFC 3629: shortest form, no surrogates), or
/// 0.
std::size_t utf8Length(std::string_view text) {
    const auto at = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = at(0);
    const std::size_t length = lead < 0x80   ? 1
                               : lead < 0xC2 ? 0
                               : lead < 0xE0 ? 2
                               : lead < 0xF0 ? 3
                               : lead < 0xF5 ? 4
                                             : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((at(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const bool tooLong = (lead == 0xE0 && at(1) < 0xA0) || (lead == 0xF0 && at(1) < 0x90);
    const bool outside = (lead == 0xED && at(1) > 0x9F) || (lead == 0xF4 && at(1) > 0x8F);
    return tooLong || outside ? 0 : length;
}

void appendEscaped(std::string& to, char c) {
    constexpr std::string_view kHex = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(c);
    to.append("\\u00").append(1, kHex[value >> 4]).append(1, kHex[value & 15]);
}

bool needsEscape(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == '<' || c == '>' || c == '&' || c == 0x7F;
}

}  // namespace

std::string jsonQuoted(std::string_view text) {
    std::string quoted = "\"";
    quoted.reserve(text.size() + 2);
    while (!text.empty()) {
        const std::size_t length = utf8Length(text);
        const char c = text.front();
        if (length == 0) {
            quoted += kReplacement;
        } else if (length > 1) {
            quoted += text.substr(0, length);
        } else if (c == '"' || c == '\\') {
            quoted.append(1, '\\').append(1, c);
        } else if (c == '\n') {
            quoted += "\\n";
        } else if (needsEscape(c)) {
            appendEscaped(quoted, c);
        } else {
            quoted += c;
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return quoted += '"';
}

std::string jsonNumber(double value) {
    if (!std::isfinite(value)) {
        return "null";
    }
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return {digits.data(), end};
}

JsonObject& JsonObject::addRaw(std::string_view key, std::string_view json) {
    if (text_.size() > 1) {
        text_ += ',';
    }
    text_.append(jsonQuoted(key)).append(1, ':').append(json);
    return *this;
}

JsonArray& JsonArray::addRaw(std::string_view json) {
    if (text_.size() > 1) {
        text_ += ',';
    }
    text_ += json;
    return *this;
}

}  // namespace VelmorService
