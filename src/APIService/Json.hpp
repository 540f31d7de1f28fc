// JSON: a value, its reader and its writer. Of our own, because of the answers of one service little is
// asked: a general library would be a tenth of what a host carries.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Velmor {

class Json {
  public:
    using Array = std::vector<Json>;
    /// In the order of the text; of equal keys the last counts.
    using Object = std::vector<std::pair<std::string, Json>>;
    /// An integer is one that fits; a number written with a point or an exponent, or too large for an
    /// integer, is a double.
    using Value = std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, Array, Object>;

    static constexpr std::size_t kMaxDepth = 128;  ///< of arrays and objects in each other

    Json() = default;
    template <std::same_as<bool> Boolean>
    Json(Boolean value) : value_(value) {}                   // NOLINT(google-explicit-constructor)
    Json(std::int64_t value) : value_(value) {}              // NOLINT(google-explicit-constructor)
    Json(double value) : value_(value) {}                    // NOLINT(google-explicit-constructor)
    Json(std::string value) : value_(std::move(value)) {}    // NOLINT(google-explicit-constructor)
    Json(const char* value) : value_(std::string(value)) {}  // NOLINT(google-explicit-constructor)
    Json(Array value) : value_(std::move(value)) {}          // NOLINT(google-explicit-constructor)
    Json(Object value) : value_(std::move(value)) {}         // NOLINT(google-explicit-constructor)
    /// Null when there is none.
    Json(std::optional<std::string> value) {  // NOLINT(google-explicit-constructor)
        if (value) value_ = std::move(*value);
    }

    /// An object of names and values in turn. In place of a list in braces, whose copies g++ 12 destroys
    /// wrongly when there is no memory for one of them.
    template <class... Members>
    static Json object(Members&&... members) {
        Object made;
        made.reserve(sizeof...(members) / 2);
        add(made, std::forward<Members>(members)...);
        return made;
    }

    /// UTF-8 without byte order mark, one value and nothing behind it; numbers within the range of a double.
    /// Throws DecodingError without path.
    static Json parse(std::string_view text);
    /// Without blanks. Throws PlatformError, kind `badRequest`, when a text is not UTF-8.
    static std::string write(const Json& json);

    const Value& value() const { return value_; }
    template <class T>
    const T* as() const {
        return std::get_if<T>(&value_);
    }
    bool isNull() const { return as<std::nullptr_t>() != nullptr; }
    /// For messages: "an object", "null" and so on.
    const char* kind() const;

    /// The member of an object; null when there is none or this is no object.
    const Json* find(std::string_view key) const;

  private:
    static void add(Object&) {}
    template <class Member, class... Others>
    static void add(Object& to, const char* name, Member&& value, Others&&... others) {
        to.emplace_back(name, Json(std::forward<Member>(value)));
        add(to, std::forward<Others>(others)...);
    }

    Value value_;
};

}  // namespace Velmor
