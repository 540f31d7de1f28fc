// Writes a record as "label: value" lines by the record's field list.
#pragma once

#include "APIService/Fields.hpp"

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
    std::string (*date)(std::chrono::sys_seconds time);
};

std::string labelAsName(std::string_view name);
std::string labelCapitalised(std::string_view name);
std::string_view commaAndNewline(std::string_view name);

/// Each adds what it is given to `text`. An absent value is written "nil", a list in square brackets.
void describeValue(std::string& text, const std::string& value, const DescriptionStyle& style);
void describeValue(std::string& text, std::int64_t value, const DescriptionStyle& style);
void describeValue(std::string& text, float value, const DescriptionStyle& style);
void describeValue(std::string& text, Model::Date value, const DescriptionStyle& style);
void describeValue(std::string& text, std::chrono::sys_days value, const DescriptionStyle& style);

template <class T>
requires std::is_enum_v<T>
void describeValue(std::string& text, T value, const DescriptionStyle&) {
    text += rawValue(value);
}

template <Record R>
void describeValue(std::string& text, const R& record, const DescriptionStyle&) {
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

template <Record R>
std::string describe(const R& record, const DescriptionStyle& style) {
    std::string text;
    Fields<R>::each([&](const char* name, auto member) {
        if (!text.empty()) text += style.separator(name);
        text.append(style.label(name)).append(": ");
        describeValue(text, record.*member, style);
    });
    return text;
}

}  // namespace Velmor
