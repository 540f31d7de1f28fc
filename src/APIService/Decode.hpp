// Turns JSON into records by the records' own field lists: the key of a field is its name in snake case, what
// is not asked for is ignored. Every failure is a DecodingError that names the place in the text.
#pragma once

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

/// "timeInRem" becomes "time_in_rem".
std::string snakeCase(std::string_view name);

template <class T>
concept Record = requires {
    T::eachField([](auto...) {});
};

template <Record T>
constexpr std::size_t fieldCount() {
    std::size_t count = 0;
    T::eachField([&count](auto...) { ++count; });
    return count;
}

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
template <Record T>
void decode(const Json& json, const JsonPath& path, T& out);

namespace detail {

const Json::Array& arrayOf(const Json& json, const JsonPath& path);
void requireObject(const Json& json, const JsonPath& path);
const std::string& textOf(const Json& json, const JsonPath& path);
[[noreturn]] void failUnknown(std::string_view text, const JsonPath& path);

using DecodeInto = void (*)(const Json& json, const JsonPath& path, void* out);

/// Decodes the member of an object for a record's field. One that is optional may be missing.
void decodeField(const Json& object, const JsonPath& path, const char* name, bool isOptional, void* out,
                 DecodeInto decodeInto);

template <class T>
constexpr bool kIsOptional = false;
template <class T>
constexpr bool kIsOptional<std::optional<T>> = true;

template <class T>
void decodeField(const Json& object, const JsonPath& path, const char* name, T& out) {
    decodeField(
        object, path, name, kIsOptional<T>, &out,
        [](const Json& json, const JsonPath& at, void* field) { decode(json, at, *static_cast<T*>(field)); });
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
template <Record T>
void decode(const Json& json, const JsonPath& path, T& out) {
    if constexpr (fieldCount<T>() > 0) {
        detail::requireObject(json, path);
        T::eachField(
            [&](const char* name, auto member) { detail::decodeField(json, path, name, out.*member); });
    }
}

/// Gives a record of a type that the caller knows; throws DecodingError.
using RecordDecoder = std::shared_ptr<const void> (*)(const Json& json, const JsonPath& path);

template <Record T>
std::shared_ptr<const void> decodeRecord(const Json& json, const JsonPath& path) {
    if constexpr (fieldCount<T>() == 0) {  // without fields one is like the other, so that all share it
        static const T kRecord{};
        return {std::shared_ptr<void>(), &kRecord};
    } else {
        auto record = std::make_shared<T>();
        decode(json, path, *record);
        return record;
    }
}

/// The envelope around every answer.
template <class T>
struct APIResponse {
    std::shared_ptr<const T> result;    ///< null when there is none
    std::optional<std::string> detail;  ///< the service's message
};

/// With a record of a type that the caller knows.
APIResponse<void> decodeResponse(std::string_view body, RecordDecoder decodeResult);

template <Record T>
APIResponse<T> decodeResponse(std::string_view body) {
    auto response = decodeResponse(body, decodeRecord<T>);
    return {std::static_pointer_cast<const T>(std::move(response.result)), std::move(response.detail)};
}

}  // namespace Velmor
