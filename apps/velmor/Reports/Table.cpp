#include "Reports/Table.hpp"

#include "Values.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace VelmorApp {
namespace {

std::size_t letters(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

bool isDuration(std::string_view field) {
    return field.starts_with("timeIn") || field.ends_with("Latency") || field == "longestWaso" ||
           field == "sleepCycle";
}

bool isShare(std::string_view field) {
    return field.ends_with("Ratio") || field.ends_with("Efficiency");
}

}  // namespace

std::string Table::str() const {
    std::vector<std::size_t> widths;
    for (const auto& row : rows_)
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (i == widths.size()) widths.push_back(0);
            widths[i] = std::max(widths[i], letters(row[i]));
        }
    std::string text;
    for (const auto& row : rows_) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            text += row[i];
            if (i + 1 < row.size()) text += std::string(widths[i] - letters(row[i]) + 2, ' ');
        }
        text += '\n';
    }
    return text;
}

std::string labelOf(std::string_view field) {
    std::string label;
    for (const char c : field) {
        if (c >= 'A' && c <= 'Z') {
            label += ' ';
            label += static_cast<char>(c - 'A' + 'a');
        } else {
            label += c;
        }
    }
    constexpr std::array<std::pair<std::string_view, std::string_view>, 2> kInitials{
        {{"rem", "REM"}, {"waso", "WASO"}}};
    for (const auto& [word, initials] : kInitials)
        for (auto at = label.find(word); at != std::string::npos; at = label.find(word, at + word.size()))
            label.replace(at, word.size(), initials);
    return label;
}

std::string valueText(std::string_view field, std::int64_t value) {
    return isDuration(field) ? durationText(std::chrono::seconds{value}) : std::to_string(value);
}

std::string valueText(std::string_view field, float value) {
    std::array<char, 64> text{};
    if (isShare(field))
        std::snprintf(text.data(), text.size(), "%.1f %%", static_cast<double>(value) * 100.0);
    else
        std::snprintf(text.data(), text.size(), "%.1f", static_cast<double>(value));
    return text.data();
}

std::string valueText(std::string_view /*field*/, const std::string& value) {
    return value;
}

std::string valueText(std::string_view /*field*/, Velmor::Model::Date value) {
    return localTimeText(value);
}

std::string valueText(std::string_view /*field*/, Velmor::Model::BreathingPattern value) {
    return std::string(rawValue(value));
}

std::string valueText(std::string_view /*field*/, const std::vector<Velmor::Model::Date>& values) {
    std::string text;
    for (const auto& value : values) text += (text.empty() ? "" : ", ") + localTimeText(value).substr(11, 5);
    return text;
}

}  // namespace VelmorApp
