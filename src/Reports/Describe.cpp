#include "Reports/Describe.hpp"

#include "APIService/Iso8601.hpp"

#include <array>
#include <charconv>

namespace Velmor {

std::string labelAsName(std::string_view name) {
    return std::string(name);
}

std::string labelCapitalised(std::string_view name) {
    std::string label(name);
    if (!label.empty() && label[0] >= 'a' && label[0] <= 'z')
        label[0] = static_cast<char>(label[0] - 'a' + 'A');
    return label;
}

std::string_view commaAndNewline(std::string_view) {
    return ",\n";
}

void describeValue(std::string& text, const std::string& value, const DescriptionStyle&) {
    text += value;
}

void describeValue(std::string& text, std::int64_t value, const DescriptionStyle&) {
    text += std::to_string(value);
}

void describeValue(std::string& text, float value, const DescriptionStyle&) {
    std::array<char, 32> digits{};
    text.append(digits.data(), std::to_chars(digits.begin(), digits.end(), value).ptr);  // the shortest
}

void describeValue(std::string& text, Model::Date value, const DescriptionStyle& style) {
    text += style.date(std::chrono::floor<std::chrono::seconds>(value));
}

void describeValue(std::string& text, std::chrono::sys_days value, const DescriptionStyle&) {
    text += Iso8601::formatDay(value);
}

}  // namespace Velmor
