// Writes a record as "label: value" lines by the record's own field list.
#pragma once

#include "APIService/Decode.hpp"
#include "APIService/Iso8601.hpp"

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
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

inline std::string labelAsName(std::string_view name) {
    return std::string(name);
}

inline std::string labelCapitalised(std::string_view name) {
    std::string label(name);
    if (!label.empty() && label[0] >= 'a' && label[0] <= 'z')
        label[0] = static_cast<char>(label[0] - 'a' + 'A');
    return label;
}

inline std::string_view commaAndNewline(std::string_view) {
    return ",\n";
}

/// An absent value is written "nil", a list in square brackets.
template <class T>
std::string describeValue(const T& value, const DescriptionStyle& style) {
    if constexpr (std::is_same_v<T, std::string>) {
        return value;
    } else if constexpr (std::is_same_v<T, std::int64_t>) {
        return std::to_string(value);
    } else if constexpr (std::is_same_v<T, float>) {
        std::array<char, 32> text{};
        return std::string(text.data(), std::to_chars(text.begin(), text.end(), value).ptr);  // the shortest
    } else if constexpr (std::is_same_v<T, WallTime>) {
        return style.date(value);
    } else if constexpr (std::is_same_v<T, std::chrono::sys_days>) {
        return Iso8601::formatDay(value);
    } else if constexpr (std::is_enum_v<T>) {
        return std::string(rawValue(value));
    } else {
        return value.description();
    }
}

template <class T>
std::string describeValue(const std::optional<T>& value, const DescriptionStyle& style) {
    return value ? describeValue(*value, style) : "nil";
}

template <class T>
std::string describeElements(const std::vector<T>& list, const DescriptionStyle& style) {
    std::string text;
    for (const auto& element : list) {
        if (!text.empty()) text += ", ";
        text += describeValue(element, style);
    }
    return text;
}

template <class T>
std::string describeValue(const std::vector<T>& list, const DescriptionStyle& style) {
    return "[" + describeElements(list, style) + "]";
}

template <Record T>
std::string describe(const T& record, const DescriptionStyle& style) {
    std::string text;
    T::eachField([&](const char* name, auto member) {
        if (!text.empty()) text += style.separator(name);
        text += style.label(name) + ": " + describeValue(record.*member, style);
    });
    return text;
}

}  // namespace Velmor
