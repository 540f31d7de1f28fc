#include "APIService/Json.hpp"

#include "Runtime/Text.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <system_error>

#include <Velmor/Error.hpp>

namespace Velmor {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

void appendUtf8(std::string& out, unsigned point) {
    const auto put = [&out](unsigned byte) { out += static_cast<char>(byte); };
    const auto follow = [&](unsigned shift) { put(0x80U | ((point >> shift) & 0x3FU)); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xC0U | (point >> 6U));
        follow(0);
    } else if (point < 0x10000) {
        put(0xE0U | (point >> 12U));
        follow(6);
        follow(0);
    } else {
        put(0xF0U | (point >> 18U));
        follow(12);
        follow(6);
        follow(0);
    }
}

/// RFC 8259 to the letter. Containers nest through recursion, which kMaxDepth keeps shallow.
class JsonParser {
  public:
    explicit JsonParser(std::string_view text) : text_(text) {}

    Json document() {
        Json json = value();
        skipBlanks();
        if (at_ != text_.size()) fail();
        return json;
    }

  private:
    [[noreturn]] void fail() const {
        throw DecodingError("", joined({"not JSON at byte ", std::to_string(at_ + 1)}));
    }

    /// A zero byte, which is allowed nowhere, behind the end.
    char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
    bool take(char c) {
        if (peek() != c) return false;
        ++at_;
        return true;
    }
    void expect(char c) {
        if (!take(c)) fail();
    }
    void skipBlanks() {
        while (peek() == ' ' || peek() == '\n' || peek() == '\r' || peek() == '\t') ++at_;
    }

    Json value() {
        skipBlanks();
        switch (peek()) {
            case '{':
                return object();
            case '[':
                return array();
            case '"':
                return string();
            case 't':
                return word("true", Json(true));
            case 'f':
                return word("false", Json(false));
            case 'n':
                return word("null", Json());
            default:
                return number();
        }
    }

    Json word(std::string_view word, Json json) {
        for (const char c : word) expect(c);
        return json;
    }

    /// Whether a first element follows; otherwise the container is over.
    bool enter(char end) {
        if (depth_++ == Json::kMaxDepth)
            throw DecodingError("", joined({"nested deeper than ", std::to_string(Json::kMaxDepth)}));
        ++at_;
        skipBlanks();
        if (peek() != end) return true;
        return next(end);
    }
    /// Whether another one does.
    bool next(char end) {
        skipBlanks();
        if (take(',')) return true;
        expect(end);
        --depth_;
        return false;
    }

    Json array() {
        Json::Array elements;
        for (bool more = enter(']'); more; more = next(']')) elements.push_back(value());
        return elements;
    }

    Json object() {
        Json::Object members;
        for (bool more = enter('}'); more; more = next('}')) {
            skipBlanks();
            if (peek() != '"') fail();
            std::string key = string();
            skipBlanks();
            expect(':');
            members.emplace_back(std::move(key), value());
        }
        return members;
    }

    std::string string() {
        std::string out;
        for (++at_; !take('"');) {
            const char c = peek();
            if (static_cast<unsigned char>(c) < 0x20) fail();
            ++at_;
            if (c == '\\')
                appendEscaped(out);
            else
                out += c;
        }
        return out;
    }

    void appendEscaped(std::string& out) {
        constexpr std::string_view kLetters = "\"\\/bfnrt";
        constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
        if (take('u')) return appendUtf8(out, codePoint());
        const auto letter = kLetters.find(peek());
        if (letter == std::string_view::npos) fail();
        ++at_;
        out += kMeanings[letter];
    }

    unsigned codePoint() {
        const unsigned first = fourHexDigits();
        if (first < 0xD800 || first > 0xDFFF) return first;
        expect('\\');
        expect('u');
        const unsigned second = fourHexDigits();
        if (first > 0xDBFF || second < 0xDC00 || second > 0xDFFF) fail();
        return 0x10000U + ((first - 0xD800U) << 10U) + (second - 0xDC00U);
    }

    unsigned fourHexDigits() {
        unsigned value = 0;
        const char* first = text_.data() + at_;
        const char* last = text_.data() + std::min(at_ + 4, text_.size());
        const auto read = std::from_chars(first, last, value, 16);
        at_ += static_cast<std::size_t>(read.ptr - first);
        if (read.ptr - first != 4) fail();
        return value;
    }

    void digits() {
        if (!isDigit(peek())) fail();
        while (isDigit(peek())) ++at_;
    }

    Json number() {
        const std::size_t start = at_;
        bool whole = true;
        take('-');
        if (!take('0')) digits();
        if (take('.')) {
            whole = false;
            digits();
        }
        if (take('e') || take('E')) {
            whole = false;
            if (!take('+')) take('-');
            digits();
        }
        const char* first = text_.data() + start;
        const char* last = text_.data() + at_;
        if (std::int64_t integer = 0; whole && std::from_chars(first, last, integer).ec == std::errc())
            return integer;
        double value = 0;
        if (std::from_chars(first, last, value).ec != std::errc())
            fail();  // no double is that large or small
        return value;
    }

    const std::string_view text_;
    std::size_t at_ = 0;
    std::size_t depth_ = 0;
};

class JsonWriter {
  public:
    std::string out;

    void write(const Json& json) {
        if (const auto* boolean = json.as<bool>())
            out += *boolean ? "true" : "false";
        else if (const auto* integer = json.as<std::int64_t>())
            out += std::to_string(*integer);
        else if (const auto* number = json.as<double>())
            write(*number);
        else if (const auto* text = json.as<std::string>())
            write(*text);
        else if (const auto* array = json.as<Json::Array>())
            write(*array);
        else if (const auto* object = json.as<Json::Object>())
            write(*object);
        else
            out += "null";
    }

  private:
    void write(double number) {
        if (!std::isfinite(number)) {
            out += "null";
            return;
        }
        std::array<char, 32> text{};
        const auto end = std::to_chars(text.begin(), text.end(), number).ptr;
        out.append(text.begin(), end);
        if (std::ranges::all_of(text.begin(), end, [](char c) { return c == '-' || isDigit(c); }))
            out += ".0";
    }

    void write(const std::string& text) {
        if (!isUtf8(text))
            throw PlatformError(PlatformError::Kind::badRequest, "a text to be sent is not UTF-8");
        out += '"';
        for (const char c : text) write(c);
        out += '"';
    }

    void write(char c) {
        constexpr std::string_view kEscaped = "\"\\\b\f\n\r\t";
        constexpr std::string_view kLetters = "\"\\bfnrt";
        constexpr const char* kHex = "0123456789abcdef";
        if (const auto found = kEscaped.find(c); found != std::string_view::npos) {
            out += '\\';
            out += kLetters[found];
        } else if (const auto byte = static_cast<unsigned char>(c); byte < 0x20) {
            out += "\\u00";
            out += kHex[byte >> 4U];
            out += kHex[byte & 15U];
        } else {
            out += c;
        }
    }

    void write(const Json::Array& array) {
        char before = '[';
        for (const auto& element : array) {
            out += std::exchange(before, ',');
            write(element);
        }
        out += array.empty() ? "[]" : "]";
    }

    void write(const Json::Object& object) {
        char before = '{';
        for (const auto& [key, member] : object) {
            out += std::exchange(before, ',');
            write(key);
            out += ':';
            write(member);
        }
        out += object.empty() ? "{}" : "}";
    }
};

}  // namespace

Json Json::parse(std::string_view text) {
    if (!isUtf8(text)) throw DecodingError("", "not JSON: not UTF-8");
    return JsonParser(text).document();
}

std::string Json::write(const Json& json) {
    JsonWriter writer;
    writer.write(json);
    return std::move(writer.out);
}

const char* Json::kind() const {
    static constexpr std::array<const char*, std::variant_size_v<Value>> kNames{
        "null", "a boolean", "an integer", "a number", "a string", "an array", "an object"};
    return kNames[value_.index()];
}

const Json* Json::find(std::string_view key) const {
    const auto* object = as<Object>();
    if (!object) return nullptr;
    for (auto member = object->rbegin(); member != object->rend(); ++member)
        if (member->first == key) return &member->second;
    return nullptr;
}

}  // namespace Velmor
