// Records of the library as JSON text, keyed by their field names.
#pragma once

#include "Json.hpp"
#include "Values.hpp"

#include <chrono>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include <Velmor/Model.hpp>

namespace VelmorApp {

inline std::string valueJson(const std::string& value) {
    return jsonText(value);
}
inline std::string valueJson(std::int64_t value) {
    return std::to_string(value);
}
inline std::string valueJson(float value) {
    return jsonNumber(value);
}
template <class Duration>
std::string valueJson(std::chrono::sys_time<Duration> value) {
    return jsonText(isoTimeText(value));
}
inline std::string valueJson(Velmor::Model::Day value) {
    return jsonText(isoTimeText(value).substr(0, 10));
}
template <class T>
requires std::is_enum_v<T> std::string valueJson(T value) {
    return jsonText(rawValue(value));
}

template <class Record>
std::string recordJson(const Record& record);

template <class Record>
requires requires {
    Record::eachField([](auto, auto) {});
}
std::string valueJson(const Record& record) {
    return recordJson(record);
}
template <class T>
std::string valueJson(const std::vector<T>& values);
template <class T>
std::string valueJson(const std::optional<T>& value) {
    return value ? valueJson(*value) : "null";
}
template <class T>
std::string valueJson(const std::vector<T>& values) {
    JsonList list;
    for (const auto& value : values) list.raw(valueJson(value));
    return list.str();
}

template <class Record>
std::string recordJson(const Record& record) {
    JsonObject object;
    Record::eachField([&](const char* name, auto member) { object.raw(name, valueJson(record.*member)); });
    return object.str();
}

}  // namespace VelmorApp
