#include "APIService/Decode.hpp"

#include "APIService/Iso8601.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmor {
namespace {

// Cut where a character begins, so that what is quoted stays UTF-8.
std::string quoted(std::string_view text) {
    constexpr std::size_t kLimit = 60;
    std::size_t end = std::min(text.size(), kLimit);
    while (end < text.size() && end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    return '"' + std::string(text.substr(0, end)) + (end < text.size() ? "...\"" : "\"");
}

}  // namespace

std::string JsonPath::text() const {
    if (!parent_) return "";
    auto out = parent_->text();
    if (index_) return out + '[' + std::to_string(*index_) + ']';
    if (!out.empty()) out += '.';
    return out.append(key_);
}

void JsonPath::fail(std::string_view reason) const {
    throw DecodingError(text(), reason);
}

void JsonPath::failExpected(const char* what, const Json& found) const {
    fail(std::string("expected ") + what + ", found " + found.kind());
}

void decode(const Json& json, const JsonPath& path, std::int64_t& out) {
    if (const auto* integer = json.as<std::int64_t>()) {
        out = *integer;
        return;
    }
    const auto* number = json.as<double>();
    if (!number) path.failExpected("an integer", json);
    constexpr double kEnd = 9223372036854775808.0;  // 2^63
    if (*number < -kEnd || *number >= kEnd) path.fail("is out of range");
    if (std::trunc(*number) != *number) path.fail("expected an integer, found a fraction");
    out = static_cast<std::int64_t>(*number);
}

void decode(const Json& json, const JsonPath& path, float& out) {
    const auto* integer = json.as<std::int64_t>();
    const auto* number = json.as<double>();
    if (!integer && !number) path.failExpected("a number", json);
    const double value = integer ? static_cast<double>(*integer) : *number;
    if (std::abs(value) > static_cast<double>(std::numeric_limits<float>::max()))
        path.fail("is out of range");
    out = static_cast<float>(value);
}

void decode(const Json& json, const JsonPath& path, std::string& out) {
    out = detail::textOf(json, path);
}

void decode(const Json& json, const JsonPath& path, Model::Date& out) {
    const auto& text = detail::textOf(json, path);
    const auto time = Iso8601::parse(text);
    if (!time) path.fail("is no date: " + quoted(text));
    out = *time;
}

void decode(const Json& json, const JsonPath& path, std::chrono::sys_days& out) {
    const auto& text = detail::textOf(json, path);
    const auto day = Iso8601::parseDay(text);
    if (!day) path.fail("is no day: " + quoted(text));
    out = *day;
}

namespace detail {

const Json::Array& arrayOf(const Json& json, const JsonPath& path) {
    const auto* array = json.as<Json::Array>();
    if (!array) path.failExpected("an array", json);
    return *array;
}

void requireObject(const Json& json, const JsonPath& path) {
    if (!json.as<Json::Object>()) path.failExpected("an object", json);
}

const std::string& textOf(const Json& json, const JsonPath& path) {
    const auto* text = json.as<std::string>();
    if (!text) path.failExpected("a string", json);
    return *text;
}

void failUnknown(std::string_view text, const JsonPath& path) {
    path.fail("has an unknown value: " + quoted(text));
}

}  // namespace detail

}  // namespace Velmor
