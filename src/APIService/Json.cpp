#include "APIService/Json.hpp"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include <Velmor/Error.hpp>

namespace Velmor {

/// Takes the parser's events, so that the text becomes our value without an intermediate tree and without
/// recursion.
class JsonBuilder {
  public:
    Json result;
    std::string problem;

    bool null() { return scalar(Json()); }
    bool boolean(bool value) { return scalar(Json(value)); }
    bool number_integer(std::int64_t value) { return scalar(Json(value)); }
    bool number_unsigned(std::uint64_t value) {
        if (value > static_cast<std::uint64_t>(INT64_MAX)) return scalar(Json(static_cast<double>(value)));
        return scalar(Json(static_cast<std::int64_t>(value)));
    }
    bool number_float(double value, const std::string&) { return scalar(Json(value)); }
    bool string(std::string& value) { return scalar(Json(std::move(value))); }
    bool binary(nlohmann::json::binary_t&) { return false; }

    bool start_object(std::size_t) { return open(Json(Json::Object{})); }
    bool key(std::string& name) {
        std::get<Json::Object>(open_.back()->value_).emplace_back(std::move(name), Json());
        return true;
    }
    bool end_object() { return close(); }
    bool start_array(std::size_t) { return open(Json(Json::Array{})); }
    bool end_array() { return close(); }

    bool parse_error(std::size_t position, const std::string&, const nlohmann::json::exception&) {
        problem = "not JSON at byte " + std::to_string(position);
        return false;
    }

  private:
    bool scalar(Json json) {
        place(std::move(json));
        return true;
    }

    // A container does not move while it is open: only the innermost one grows.
    bool open(Json json) {
        if (open_.size() == Json::kMaxDepth) {
            problem = "nested deeper than " + std::to_string(Json::kMaxDepth);
            return false;
        }
        open_.push_back(place(std::move(json)));
        return true;
    }

    bool close() {
        open_.pop_back();
        return true;
    }

    Json* place(Json json) {
        if (open_.empty()) return &(result = std::move(json));
        auto& container = open_.back()->value_;
        if (auto* array = std::get_if<Json::Array>(&container)) return &array->emplace_back(std::move(json));
        return &(std::get<Json::Object>(container).back().second = std::move(json));
    }

    std::vector<Json*> open_;
};

class JsonWriter {
  public:
    using Tree = nlohmann::ordered_json;

    static Tree tree(Json json) { return std::visit(JsonWriter{}, std::move(json.value_)); }

    Tree operator()(std::nullptr_t) const { return nullptr; }
    Tree operator()(bool value) const { return value; }
    Tree operator()(std::int64_t value) const { return value; }
    Tree operator()(double value) const { return value; }
    Tree operator()(std::string&& value) const { return std::move(value); }
    Tree operator()(Json::Array&& value) const {
        Tree out = Tree::array();
        for (auto& element : value) out.push_back(tree(std::move(element)));
        return out;
    }
    Tree operator()(Json::Object&& value) const {
        Tree out = Tree::object();
        for (auto& [key, member] : value) out[key] = tree(std::move(member));
        return out;
    }
};

Json Json::parse(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) throw DecodingError("", "not JSON at byte 1: byte order mark");
    // The parser takes a zero byte for the end of the text and would not see what comes behind it.
    if (const auto zero = text.find('\0'); zero != std::string_view::npos)
        throw DecodingError("", "not JSON at byte " + std::to_string(zero + 1));
    JsonBuilder builder;
    if (!nlohmann::json::sax_parse(text.begin(), text.end(), &builder))
        throw DecodingError("", builder.problem);
    return std::move(builder.result);
}

std::string Json::write(Json json) {
    try {
        return JsonWriter::tree(std::move(json)).dump();
    } catch (const nlohmann::json::exception&) {
        throw PlatformError(PlatformError::Kind::badRequest, "a text to be sent is not UTF-8");
    }
}

const char* Json::kind() const {
    static constexpr std::array<const char*, std::variant_size_v<Value>> kNames{
        "null", "a boolean", "an integer", "a number", "a string", "an array", "an object"};
    return kNames[value_.index()];
}

const Json* Json::find(std::string_view key) const {
    const auto* object = as<Object>();
    if (!object) return nullptr;
    const auto found = std::find_if(object->rbegin(), object->rend(),
                                    [&](const auto& member) { return member.first == key; });
    return found == object->rend() ? nullptr : &found->second;
}

}  // namespace Velmor
