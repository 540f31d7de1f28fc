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

/// Name and value of a field; `describe` knows of what type it is.
void describeField(std::string& text, const char* name, const DescriptionStyle& style, const void* field,
                   void (*describe)(std::string& to, const void* field, const DescriptionStyle& style));

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

template <class T>
void describeField(std::string& text, const char* name, const DescriptionStyle& style, const T& field) {
    describeField(text, name, style, &field,
                  [](std::string& to, const void* value, const DescriptionStyle& as) {
                      describeValue(to, *static_cast<const T*>(value), as);
                  });
}

template <Record T>
std::string describe(const T& record, const DescriptionStyle& style) {
    std::string text;
    T::eachField([&](const char* name, auto member) { describeField(text, name, style, record.*member); });
    return text;
}

}  // namespace Velmor
