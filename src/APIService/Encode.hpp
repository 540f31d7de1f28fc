// Writes the bodies of requests by the field lists of their records. An absent value is null.
#pragma once

#include "APIService/Fields.hpp"
#include "APIService/Iso8601.hpp"
#include "APIService/Json.hpp"

#include <concepts>
#include <optional>
#include <string>

#include <Velmor/Platform/Clock.hpp>

namespace Velmor {

inline std::string jsonText(std::same_as<bool> auto value) {
    return value ? "true" : "false";
}
inline std::string jsonText(const std::string& value) {
    return quotedJson(value);
}
inline std::string jsonText(WallTime value) {
    return quotedJson(Iso8601::format(value));
}
template <class T>
std::string jsonText(const std::optional<T>& value) {
    return value ? jsonText(*value) : "null";
}

/// A JSON object with a member for each field, in order. Throws PlatformError when a text is not UTF-8.
template <Record R>
std::string encode(const R& record) {
    std::string members;
    Fields<R>::each([&](const char* name, auto member) {
        if (!members.empty()) members += ',';
        members += quotedJson(snakeCase(name)) + ':' + jsonText(record.*member);
    });
    return '{' + members + '}';
}

}  // namespace Velmor
