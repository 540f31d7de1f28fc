// JSON texts. nlohmann-json reads and writes them; Json.cpp alone includes it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Velmor {

/// A value as it was read. Not nlohmann::json: the destructor of that allocates memory, and ends the process
/// when there is none.
struct Json {
    struct Member;
    using Array = std::vector<Json>;
    /// In the order of the text; of equal keys the last counts.
    using Object = std::vector<Member>;
    /// A number is a std::int64_t when it is written as an integer and fits.
    std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, Array, Object> value;

    static constexpr std::size_t kMaxDepth = 128;  ///< of arrays and objects in each other

    template <class T>
    const T* as() const {
        return std::get_if<T>(&value);
    }
    bool isNull() const { return as<std::nullptr_t>() != nullptr; }
    /// For messages: "an object", "null" and so on.
    const char* kind() const;
    /// The member of an object; null when there is none or this is no object.
    const Json* find(std::string_view key) const;
};

struct Json::Member {
    std::string key;
    Json value;
};

/// UTF-8 without byte order mark, one value and nothing behind it. Throws DecodingError without path.
Json parseJson(std::string_view text);

/// The text as a JSON string, quotes included. Throws PlatformError, kind `badRequest`, when it is not UTF-8.
std::string quotedJson(const std::string& text);

/// The key of a record's field: "time_in_rem" of "timeInRem". A name with an underscore is a key already.
std::string snakeCase(std::string_view fieldName);

}  // namespace Velmor
