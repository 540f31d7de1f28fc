#include "APIService/Json.hpp"

#include <array>
#include <nlohmann/json.hpp>
#include <utility>

#include <Velmor/Error.hpp>

namespace Velmor {
namespace {

[[noreturn]] void failAt(std::size_t byte) {
    throw DecodingError("", "not JSON at byte " + std::to_string(byte));
}

/// Puts together what the parser finds. The parser keeps no stack of its own calls, so that nesting costs
/// memory only; the limit is for those who walk through the value, who do.
class ValueBuilder : public nlohmann::json_sax<nlohmann::json> {
  public:
    Json take() { return std::move(root_); }

    bool null() override { return add({nullptr}); }
    bool boolean(bool value) override { return add({value}); }
    bool number_integer(std::int64_t value) override { return add({value}); }
    bool number_unsigned(std::uint64_t value) override {
        if (std::in_range<std::int64_t>(value)) return add({static_cast<std::int64_t>(value)});
        return add({static_cast<double>(value)});
    }
    bool number_float(double value, const std::string&) override { return add({value}); }
    bool string(std::string& value) override { return add({std::move(value)}); }
    bool binary(nlohmann::json::binary_t&) override { return false; }  // no JSON text has such a value
    bool start_object(std::size_t) override { return open({Json::Object()}); }
    bool key(std::string& name) override {
        key_ = std::move(name);
        return true;
    }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open({Json::Array()}); }
    bool end_array() override { return close(); }
    bool parse_error(std::size_t byte, const std::string&, const nlohmann::json::exception&) override {
        failAt(byte);
    }

  private:
    Json& put(Json value) {
        if (open_.empty()) return root_ = std::move(value);
        if (auto* array = std::get_if<Json::Array>(&open_.back()->value))
            return array->emplace_back(std::move(value));
        auto& object = std::get<Json::Object>(open_.back()->value);
        return object.emplace_back(Json::Member{std::move(key_), std::move(value)}).value;
    }
    bool add(Json value) {
        put(std::move(value));
        return true;
    }
    bool open(Json container) {
        if (open_.size() == Json::kMaxDepth)
            throw DecodingError("", "nested deeper than " + std::to_string(Json::kMaxDepth));
        open_.push_back(&put(std::move(container)));
        return true;
    }
    bool close() {
        open_.pop_back();
        return true;
    }

    Json root_;
    std::vector<Json*> open_;  // the containers around the next value, outermost first
    std::string key_;          // of the next value, if it is an object's
};

}  // namespace

const char* Json::kind() const {
    static constexpr std::array<const char*, std::variant_size_v<decltype(value)>> kNames{
        "null", "a boolean", "an integer", "a number", "a string", "an array", "an object"};
    return kNames[value.index()];
}

const Json* Json::find(std::string_view key) const {
    const auto* object = as<Object>();
    if (!object) return nullptr;
    for (auto member = object->rbegin(); member != object->rend(); ++member)
        if (member->key == key) return &member->value;
    return nullptr;
}

Json parseJson(std::string_view text) {
    // The parser would skip a byte order mark, and take a zero byte for the end of the text.
    if (text.starts_with("\xEF\xBB\xBF")) failAt(1);
    if (const auto zero = text.find('\0'); zero != std::string_view::npos) failAt(zero + 1);
    ValueBuilder builder;
    nlohmann::json::sax_parse(text, &builder);
    return builder.take();
}

std::string quotedJson(const std::string& text) {
    try {
        return nlohmann::json(text).dump();
    } catch (const nlohmann::json::type_error&) {
        throw PlatformError(PlatformError::Kind::badRequest, "a text to be sent is not UTF-8");
    }
}

std::string snakeCase(std::string_view fieldName) {
    std::string key;
    for (const char c : fieldName) {
        if (c >= 'A' && c <= 'Z') {
            key += '_';
            key += static_cast<char>(c - 'A' + 'a');
        } else {
            key += c;
        }
    }
    return key;
}

}  // namespace Velmor
