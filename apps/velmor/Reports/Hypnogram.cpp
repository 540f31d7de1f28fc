#include "Reports/Hypnogram.hpp"

#include "Values.hpp"

#include <algorithm>
#include <array>
#include <ctime>
#include <vector>

namespace VelmorApp {
namespace {

constexpr std::int64_t kUnknown = -1;
constexpr std::size_t kLabelWidth = 7;

struct Row {
    std::int64_t code;
    const char* name;
    const char* terminal;  // colour
    const char* svg;
};
// From awake to deep, as hypnograms are drawn.
constexpr std::array<Row, 4> kRows{{{0, "Awake", "\x1b[33m", "#e8a33d"},
                                    {3, "REM", "\x1b[35m", "#a65fc4"},
                                    {1, "Light", "\x1b[36m", "#4fa8c9"},
                                    {2, "Deep", "\x1b[34m", "#2c5aa0"}}};

bool isKnown(std::int64_t code) {
    return code >= 0 && code < static_cast<std::int64_t>(kRows.size());
}

std::int64_t mostFrequent(std::span<const std::int64_t> stages) {
    std::array<std::size_t, kRows.size()> counts{};
    for (const std::int64_t code : stages)
        if (isKnown(code)) ++counts[static_cast<std::size_t>(code)];
    const auto most = std::max_element(counts.begin(), counts.end());
    return *most == 0 ? kUnknown : most - counts.begin();
}

std::vector<std::int64_t> columnsOf(std::span<const std::int64_t> stages, std::size_t width) {
    const std::size_t columns = std::min(width, stages.size());
    std::vector<std::int64_t> result(columns);
    for (std::size_t i = 0; i < columns; ++i) {
        const std::size_t from = i * stages.size() / columns;
        const std::size_t to = (i + 1) * stages.size() / columns;
        result[i] = mostFrequent(stages.subspan(from, to - from));
    }
    return result;
}

struct Hour {
    double share;  // of the night that has passed
    std::string text;
};

std::vector<Hour> fullHours(const Hypnogram& night) {
    std::vector<Hour> hours;
    const auto length = night.epoch * static_cast<std::int64_t>(night.stages.size());
    if (length.count() <= 0) return hours;
    const auto end = night.start + length;
    auto hour = std::chrono::floor<std::chrono::hours>(night.start);
    if (hour < night.start) hour += std::chrono::hours{1};
    for (; hour <= end; hour += std::chrono::hours{1})
        hours.push_back(
            {std::chrono::duration<double>(hour - night.start) / std::chrono::duration<double>(length),
             localTimeText(hour).substr(11, 5)});
    return hours;
}

std::string hourLine(const Hypnogram& night, std::size_t columns) {
    std::string line;
    for (const Hour& hour : fullHours(night)) {
        const auto place = static_cast<std::size_t>(hour.share * static_cast<double>(columns));
        if (place < line.size() + (line.empty() ? 0 : 2)) continue;
        line += std::string(place - line.size(), ' ') + hour.text;
    }
    return std::string(kLabelWidth, ' ') + line + "\n";
}

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '&':
                result += "&amp;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

// --- the drawing ---

constexpr double kLeft = 64.0;
constexpr double kTop = 48.0;
constexpr double kWidth = 880.0;
constexpr double kRowHeight = 40.0;

std::string number(double value) {
    std::string text = std::to_string(value);
    return text.substr(0, text.find('.') + 2);
}

std::string textAt(double x, double y, const char* anchor, const std::string& text) {
    return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\" text-anchor=\"" + anchor + "\">" +
           escaped(text) + "</text>\n";
}

std::string svgRuns(const Hypnogram& night) {
    std::string svg;
    const double perEpoch = kWidth / static_cast<double>(night.stages.size());
    for (std::size_t i = 0; i < night.stages.size();) {
        std::size_t end = i;
        while (end < night.stages.size() && night.stages[end] == night.stages[i]) ++end;
        for (std::size_t row = 0; row < kRows.size(); ++row) {
            if (kRows[row].code != night.stages[i]) continue;
            svg += "<rect x=\"" + number(kLeft + static_cast<double>(i) * perEpoch) + "\" y=\"" +
                   number(kTop + static_cast<double>(row) * kRowHeight + 8.0) + "\" width=\"" +
                   number(std::max(static_cast<double>(end - i) * perEpoch, 0.5)) + "\" height=\"" +
                   number(kRowHeight - 16.0) + "\" fill=\"" + kRows[row].svg + "\"/>\n";
        }
        i = end;
    }
    return svg;
}

}  // namespace

std::string hypnogramText(const Hypnogram& night, std::size_t width, bool colour) {
    if (night.stages.empty() || width <= kLabelWidth) return {};
    const auto columns = columnsOf(night.stages, width - kLabelWidth);
    std::string text;
    for (const Row& row : kRows) {
        std::string line = row.name + std::string(kLabelWidth - std::string_view(row.name).size(), ' ');
        if (colour) line += row.terminal;
        for (const std::int64_t code : columns) line += code == row.code ? "\u2588" : " ";
        if (colour) line += "\x1b[0m";
        text += line + "\n";
    }
    return text + hourLine(night, columns.size());
}

std::string hypnogramSvg(const Hypnogram& night, const std::string& title) {
    const double bottom = kTop + static_cast<double>(kRows.size()) * kRowHeight;
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 960 " + number(bottom + 32.0) +
                      "\" font-family=\"sans-serif\" font-size=\"14\" fill=\"#333\">\n";
    svg += "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n" + textAt(kLeft, 28.0, "start", title);
    for (std::size_t row = 0; row < kRows.size(); ++row)
        svg += textAt(kLeft - 10.0, kTop + (static_cast<double>(row) + 0.5) * kRowHeight + 5.0, "end",
                      kRows[row].name);
    for (const Hour& hour : fullHours(night)) {
        const double x = kLeft + hour.share * kWidth;
        svg += "<path d=\"M" + number(x) + " " + number(kTop) + "V" + number(bottom) +
               "\" stroke=\"#ddd\"/>\n" + textAt(x, bottom + 20.0, "middle", hour.text);
    }
    return svg + svgRuns(night) + "</svg>\n";
}

}  // namespace VelmorApp
