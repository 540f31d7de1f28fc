#include "Json.hpp"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace VelmorApp {
namespace {

template <class Float>
std::string shortest(Float value) {
    if (!std::isfinite(value)) return "null";
    std::array<char, 64> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return {text.data(), end};
}

}  // namespace

std::string jsonText(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
            result += escape.data();
        } else {
            result += c;
        }
    }
    return result + "\"";
}

std::string jsonNumber(double value) {
    return shortest(value);
}

std::string jsonNumber(float value) {
    return shortest(value);
}

JsonObject& JsonObject::raw(std::string_view name, std::string_view json) {
    if (!members_.empty()) members_ += ",";
    members_ += jsonText(name);
    members_ += ":";
    members_ += json;
    return *this;
}

JsonList& JsonList::raw(std::string_view json) {
    if (!items_.empty()) items_ += ",";
    items_ += json;
    return *this;
}

}  // namespace VelmorApp
