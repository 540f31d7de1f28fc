// Writes a record as "label: value" lines by the record's own field list.
#pragma once

#include "APIService/Decode.hpp"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <Velmor/Model.hpp>

namespace Velmor {

/// How one record's description differs from another's.
struct DescriptionStyle {
    std::string (*label)(std::string_view name);
    /// What stands between the entry before `name` and `name`.
    std::string_view (*separator)(std::string_view name);
    std::string (*date)(WallTime time);
};

std::string labelAsName(std::string_view name);
std::string labelCapitalised(std::string_view name);
std::string_view commaAndNewline(std::string_view name);

/// Each adds what it is given to `text`. An absent value is written "nil", a list in square brackets.
void describeValue(std::string& text, const std::string& value, const DescriptionStyle& style);
void describeValue(std::string& text, std::int64_t value, const DescriptionStyle& style);
void describeValue(std::string& text, float value, const DescriptionStyle& style);
void describeValue(std::string& text, WallTime value, const DescriptionStyle& style);
void describeValue(std::string& text, std::chrono::sys_days value, const DescriptionStyle& style);

/// What stands before a field's value.
void describeName(std::string& text, const char* name, const DescriptionStyle& style);

template <class T>
requires std::is_enum_v<T>
void describeValue(std::string& text, T value, const DescriptionStyle&) {
    text += rawValue(value);
}

template <Record T>
void describeValue(std::string& text, const T& record, const DescriptionStyle&) {
    text += record.description();
}

template <class T>
void describeElements(std::string& text, const std::vector<T>& list, const DescriptionStyle& style) {
    const char* separator = "";
    for (const auto& element : list) {
        text += std::exchange(separator, ", ");
        describeValue(text, element, style);
    }
}

template <class T>
void describeValue(std::string& text, const std::vector<T>& list, const DescriptionStyle& style) {
    text += '[';
    describeElements(text, list, style);
    text += ']';
}

template <class T>
void describeValue(std::string& text, const std::optional<T>& value, const DescriptionStyle& style) {
    if (value)
        describeValue(text, *value, style);
    else
        text += "nil";
}

template <Record T>
std::string describe(const T& record, const DescriptionStyle& style) {
    std::string text;
    T::eachField([&](const char* name, auto member) {
        describeName(text, name, style);
        describeValue(text, record.*member, style);
    });
    return text;
}

}  // namespace Velmor
