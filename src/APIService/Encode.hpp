// Turns records into JSON by the records' own field lists: the key of a field is its name in snake case, an
// absent value is null.
#pragma once

#include "APIService/Decode.hpp"
#include "APIService/Iso8601.hpp"
#include "APIService/Json.hpp"

#include <concepts>
#include <optional>
#include <string>
#include <utility>

#include <Velmor/Platform/Clock.hpp>

namespace Velmor {

inline Json encode(std::same_as<bool> auto value) {
    return value;
}
inline Json encode(std::string value) {
    return value;
}
inline Json encode(WallTime value) {
    return Iso8601::format(value);
}
template <class T>
Json encode(std::optional<T> value) {
    return value ? encode(*std::move(value)) : Json();
}

template <Record T>
Json encode(T record) {
    Json::Object members;
    members.reserve(fieldCount<T>());
    T::eachField([&](const char* name, auto member) {
        members.emplace_back(snakeCase(name), encode(std::move(record.*member)));
    });
    return members;
}

}  // namespace Velmor
