#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace VelmorService {

/// Members keep the order in which they are added.
using Json = nlohmann::ordered_json;

/// Bytes that are no valid UTF-8 become U+FFFD, and "<", ">", "&" travel escaped, so that the text is
/// harmless wherever a browser might put it.
std::string jsonText(const Json& json);

/// An absent value leaves the key out.
template <typename T>
void addIfPresent(Json& object, const std::string& key, const std::optional<T>& value) {
    if (value) {
        object[key] = *value;
    }
}

}  // namespace VelmorService
