// Records of the library as JSON, keyed by their field names.
#pragma once

#include "APIService/Fields.hpp"
#include "APIService/Iso8601.hpp"
#include "Json.hpp"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include <Velmor/Model.hpp>

namespace VelmorApp {

inline Json valueJson(const std::string& value) {
    return value;
}
inline Json valueJson(std::int64_t value) {
    return value;
}
/// With the digits of the float, 0.1, and not those of the same number as a double, 0.10000000149011612.
inline Json valueJson(float value) {
    std::array<char, 64> digits{};
    const auto end = std::to_chars(digits.begin(), digits.end(), value).ptr;
    double number = 0;
    std::from_chars(digits.begin(), end, number);
    return number;
}
template <class Duration>
Json valueJson(std::chrono::sys_time<Duration> value) {
    return Velmor::Iso8601::format(value);
}
inline Json valueJson(Velmor::Model::Day value) {
    return Velmor::Iso8601::formatDay(value);
}
template <class T>
requires std::is_enum_v<T> Json valueJson(T value) {
    return rawValue(value);
}
template <Velmor::Record R>
Json valueJson(const R& record);
template <class T>
Json valueJson(const std::vector<T>& values);
template <class T>
Json valueJson(const std::optional<T>& value) {
    return value ? valueJson(*value) : Json();
}
template <class T>
Json valueJson(const std::vector<T>& values) {
    Json list = Json::array();
    for (const auto& value : values) list.push_back(valueJson(value));
    return list;
}
template <Velmor::Record R>
Json valueJson(const R& record) {
    Json object = Json::object();
    Velmor::Fields<R>::each([&](const char* name, auto member) { object[name] = valueJson(record.*member); });
    return object;
}

}  // namespace VelmorApp
