#include "Runtime/Text.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>

#include <Velmor/Error.hpp>
#include <Velmor/Url.hpp>

namespace Velmor {
namespace {

struct Split {
    std::string_view scheme, host, port, path, query;
    std::size_t authorityEnd = 0;
    bool valid = false;
};

bool isUnsafe(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte >= 0x7f || c == '"' || c == '<' || c == '>' || c == '\\' || c == '^' ||
           c == '`' || c == '{' || c == '|' || c == '}';
}

bool isHostCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_';
}

bool isAddressCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') || c == ':' || c == '.';
}

std::optional<std::uint16_t> portNumber(std::string_view digits) {
    std::uint16_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc{} || end != digits.data() + digits.size()) return {};
    return number;
}

bool sameLetters(std::string_view a, std::string_view lower) {
    return a.size() == lower.size() &&
           std::equal(a.begin(), a.end(), lower.begin(), [](char x, char y) { return (x | 0x20) == y; });
}

// Splits "[address]:port" or "host:port"; false when it is neither.
bool splitAuthority(std::string_view authority, Split& out) {
    std::string_view rest;
    if (authority.starts_with('[')) {
        const auto end = authority.find(']');
        if (end == std::string_view::npos) return false;
        out.host = authority.substr(1, end - 1);
        rest = authority.substr(end + 1);
        if (out.host.empty() || !std::ranges::all_of(out.host, isAddressCharacter)) return false;
    } else {
        const auto colon = std::min(authority.find(':'), authority.size());
        out.host = authority.substr(0, colon);
        rest = authority.substr(colon);
        if (out.host.empty() || !std::ranges::all_of(out.host, isHostCharacter)) return false;
    }
    if (rest.empty()) return true;
    out.port = rest.substr(1);
    return rest.front() == ':' && portNumber(out.port).has_value();
}

Split split(std::string_view text) {
    Split out;
    const auto mark = text.find("://");
    if (mark == std::string_view::npos || std::ranges::any_of(text, isUnsafe)) return out;
    out.scheme = text.substr(0, mark);
    if (!sameLetters(out.scheme, "http") && !sameLetters(out.scheme, "https")) return out;
    out.authorityEnd = std::min(text.find_first_of("/?#", mark + 3), text.size());
    if (!splitAuthority(text.substr(mark + 3, out.authorityEnd - mark - 3), out)) return out;
    const auto behind = text.substr(out.authorityEnd, text.find('#', out.authorityEnd) - out.authorityEnd);
    out.path = behind.substr(0, behind.find('?'));
    out.query = behind.substr(std::min(out.path.size() + 1, behind.size()));
    out.valid = true;
    return out;
}

// For a message: cut short, and nothing in it that a log line could not hold.
std::string quoted(std::string_view text) {
    constexpr std::size_t kLimit = 200;
    auto shown = firstCharacters(text, kLimit);
    if (!isUtf8(shown)) return "a text that is not UTF-8";
    std::ranges::replace_if(
        shown, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
    return joined({"\"", shown, shown.size() < text.size() ? "...\"" : "\""});
}

bool isLoopbackAddress(std::string_view host) {
    if (!host.starts_with("127.")) return false;
    int dots = 0;
    for (const char c : host) {
        if (c == '.')
            ++dots;
        else if (c < '0' || c > '9')
            return false;
    }
    return dots == 3;
}

}  // namespace

std::optional<Url> Url::tryParse(std::string_view text) {
    if (!split(text).valid) return {};
    return Url(std::string(text));
}

Url Url::parse(std::string_view text) {
    if (auto url = tryParse(text)) return *std::move(url);
    throw PlatformError(PlatformError::Kind::badRequest,
                        joined({quoted(text),
                                " is not an absolute http or https URL, such as "
                                "\"https://api.example.org\""}));
}

std::string Url::scheme() const {
    return sameLetters(split(text_).scheme, "http") ? "http" : "https";
}

std::string Url::host() const {
    return std::string(split(text_).host);
}

std::optional<std::uint16_t> Url::port() const {
    return portNumber(split(text_).port);
}

std::string Url::path() const {
    return std::string(split(text_).path);
}

std::string Url::origin() const {
    return text_.substr(0, split(text_).authorityEnd);
}

bool Url::isLoopback() const {
    const auto name = host();
    return sameLetters(name, "localhost") || name == "::1" || isLoopbackAddress(name);
}

Url Url::replacingPath(std::string_view path) const {
    const auto parts = split(text_);
    const std::string_view whole = text_;
    return Url(joined(
        {whole.substr(0, parts.authorityEnd), path, whole.substr(parts.authorityEnd + parts.path.size())}));
}

Url Url::appending(std::string_view pathAndQuery) const {
    const auto parts = split(text_);
    const auto path = pathAndQuery.substr(0, pathAndQuery.find('?'));
    const auto query = pathAndQuery.substr(std::min(path.size() + 1, pathAndQuery.size()));
    return Url(
        joined({std::string_view(text_).substr(0, parts.authorityEnd), parts.path,
                parts.path.ends_with('/') ? "" : "/", path, parts.query.empty() && query.empty() ? "" : "?",
                parts.query, parts.query.empty() || query.empty() ? "" : "&", query}));
}

}  // namespace Velmor
