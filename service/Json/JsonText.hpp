#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VelmorService {

/// A JSON string literal, quotes included. Bytes that are no valid UTF-8 become U+FFFD, and "<", ">", "&"
/// travel escaped, so that the text is harmless wherever a browser might put it.
std::string jsonQuoted(std::string_view text);
std::string jsonNumber(double value);

/// Writes a JSON object; keys keep the order in which they are added.
class JsonObject {
  public:
    JsonObject& add(std::string_view key, std::string_view value) { return addRaw(key, jsonQuoted(value)); }
    JsonObject& add(std::string_view key, const char* value) { return add(key, std::string_view(value)); }
    JsonObject& add(std::string_view key, const std::string& value) {
        return add(key, std::string_view(value));
    }
    JsonObject& add(std::string_view key, bool value) { return addRaw(key, value ? "true" : "false"); }
    JsonObject& add(std::string_view key, double value) { return addRaw(key, jsonNumber(value)); }
    JsonObject& add(std::string_view key, std::integral auto value) {
        return addRaw(key, std::to_string(value));
    }
    /// An absent value leaves the key out.
    template <typename T>
    JsonObject& add(std::string_view key, const std::optional<T>& value) {
        return value ? add(key, *value) : *this;
    }
    JsonObject& addRaw(std::string_view key, std::string_view json);
    std::string text() const { return text_ + "}"; }

  private:
    std::string text_ = "{";
};

class JsonArray {
  public:
    JsonArray& addRaw(std::string_view json);
    JsonArray& add(std::string_view value) { return addRaw(jsonQuoted(value)); }
    JsonArray& add(std::int64_t value) { return addRaw(std::to_string(value)); }
    std::string text() const { return text_ + "]"; }

  private:
    std::string text_ = "[";
};

}  // namespace VelmorService
