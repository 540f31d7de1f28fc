// JSON text of the command's own output.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace VelmorApp {

/// The text with quotes around it and everything inside escaped.
std::string jsonText(std::string_view text);
/// The shortest decimal that reads back the same; null for what JSON has no number for.
std::string jsonNumber(double value);
std::string jsonNumber(float value);

/// Members in the order in which they are added.
class JsonObject {
  public:
    JsonObject& text(std::string_view name, std::string_view value) { return raw(name, jsonText(value)); }
    JsonObject& number(std::string_view name, std::int64_t value) { return raw(name, std::to_string(value)); }
    JsonObject& number(std::string_view name, double value) { return raw(name, jsonNumber(value)); }
    JsonObject& boolean(std::string_view name, bool value) { return raw(name, value ? "true" : "false"); }
    JsonObject& raw(std::string_view name, std::string_view json);
    std::string str() const { return "{" + members_ + "}"; }

  private:
    std::string members_;
};

class JsonList {
  public:
    JsonList& raw(std::string_view json);
    std::string str() const { return "[" + items_ + "]"; }

  private:
    std::string items_;
};

}  // namespace VelmorApp
