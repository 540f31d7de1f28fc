// Turns JSON into records by their field lists: the key of a field is its name in snake case, keys that no
// field has are ignored. Every failure is a DecodingError that names the place in the text.
#pragma once

#include "APIService/Fields.hpp"
#include "APIService/Json.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <Velmor/Error.hpp>
#include <Velmor/Model.hpp>

namespace Velmor {

/// A place in a JSON text; refers to its parent, which has to outlive it. Turned into text on failure only.
class JsonPath {
  public:
    JsonPath() = default;
    JsonPath(const JsonPath& parent, std::string_view key) : parent_(&parent), key_(key) {}
    JsonPath(const JsonPath& parent, std::size_t index) : parent_(&parent), index_(index) {}

    /// For instance "result.sleep_session_list[3].state"; empty for the whole text.
    std::string text() const;
    [[noreturn]] void fail(std::string_view reason) const;
    [[noreturn]] void failExpected(const char* what, const Json& found) const;

  private:
    const JsonPath* parent_ = nullptr;
    std::string_view key_;
    std::optional<std::size_t> index_;
};

/// A number written as 3.0 or 3e2 counts as an integer too.
void decode(const Json& json, const JsonPath& path, std::int64_t& out);
void decode(const Json& json, const JsonPath& path, float& out);
void decode(const Json& json, const JsonPath& path, std::string& out);
void decode(const Json& json, const JsonPath& path, Model::Date& out);
void decode(const Json& json, const JsonPath& path, std::chrono::sys_days& out);
template <class T>
void decode(const Json& json, const JsonPath& path, std::vector<T>& out);
template <class T>
void decode(const Json& json, const JsonPath& path, std::optional<T>& out);
template <class T>
requires std::is_enum_v<T>
void decode(const Json& json, const JsonPath& path, T& out);
template <Record R>
void decode(const Json& json, const JsonPath& path, R& out);

namespace detail {

const Json::Array& arrayOf(const Json& json, const JsonPath& path);
void requireObject(const Json& json, const JsonPath& path);
const std::string& textOf(const Json& json, const JsonPath& path);
[[noreturn]] void failUnknown(std::string_view text, const JsonPath& path);

template <class T>
constexpr bool kIsOptional = false;
template <class T>
constexpr bool kIsOptional<std::optional<T>> = true;

/// The member of an object that a record's field is decoded from. One that is optional may be missing.
template <class T>
void decodeField(const Json& object, const JsonPath& path, const char* name, T& out) {
    const auto key = snakeCase(name);
    const JsonPath place(path, key);
    if (const auto* json = object.find(key))
        decode(*json, place, out);
    else if (!kIsOptional<T>)
        place.fail("is missing");
}

}  // namespace detail

template <class T>
void decode(const Json& json, const JsonPath& path, std::vector<T>& out) {
    const auto& array = detail::arrayOf(json, path);
    out.clear();  // grown by what fits only: a short text may list a great many that do not
    for (std::size_t i = 0; i < array.size(); ++i) decode(array[i], JsonPath(path, i), out.emplace_back());
}

template <class T>
void decode(const Json& json, const JsonPath& path, std::optional<T>& out) {
    if (!json.isNull()) decode(json, path, out.emplace());
}

template <class T>
requires std::is_enum_v<T>
void decode(const Json& json, const JsonPath& path, T& out) {
    const auto& text = detail::textOf(json, path);
    const auto value = Model::fromRawValue<T>(text);
    if (!value) detail::failUnknown(text, path);
    out = *value;
}

/// A record without fields says all by being there, so it may have any form.
template <Record R>
void decode(const Json& json, const JsonPath& path, R& out) {
    if constexpr (fieldCount<R>() > 0) {
        detail::requireObject(json, path);
        Fields<R>::each(
            [&](const char* name, auto member) { detail::decodeField(json, path, name, out.*member); });
    }
}

/// The envelope around every answer.
template <class R>
struct APIResponse {
    std::shared_ptr<const R> result;    ///< null when there is none
    std::optional<std::string> detail;  ///< the service's message
};

template <Record R>
APIResponse<R> decodeResponse(std::string_view body) {
    const Json json = parseJson(body);
    const JsonPath path;
    detail::requireObject(json, path);
    APIResponse<R> response;
    if (const auto* result = json.find("result"); result && !result->isNull()) {
        auto record = std::make_shared<R>();
        decode(*result, JsonPath(path, "result"), *record);
        response.result = std::move(record);
    }
    detail::decodeField(json, path, "detail", response.detail);
    return response;
}

}  // namespace Velmor
