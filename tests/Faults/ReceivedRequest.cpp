#include "ReceivedRequest.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <strings.h>
#include <sys/socket.h>

namespace Velmor::Faults {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

bool isToken(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](unsigned char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
               std::string_view("!#$%&'*+-.^_`|~").find(static_cast<char>(c)) != std::string_view::npos;
    });
}

bool isFieldValue(std::string_view text) {
    return std::ranges::all_of(text, [](unsigned char c) { return (c >= 0x20 && c != 0x7F) || c == '\t'; });
}

bool isTarget(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](unsigned char c) { return c > 0x20 && c != 0x7F; });
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool readRequestLine(std::string_view line, ReceivedRequest& request) {
    const auto first = line.find(' ');
    const auto last = line.rfind(' ');
    if (first == std::string_view::npos || first == last || line.substr(last + 1) != "HTTP/1.1") return false;
    request.method = line.substr(0, first);
    request.target = line.substr(first + 1, last - first - 1);
    return isToken(request.method) && isTarget(request.target);
}

bool readField(std::string_view line, ReceivedRequest& request) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) return false;
    const auto name = line.substr(0, colon);
    const auto value = trimmed(line.substr(colon + 1));
    request.headers.emplace_back(name, value);
    return isToken(name) && isFieldValue(value);
}

bool readHead(std::string_view head, ReceivedRequest& request) {
    auto end = head.find(kLineEnd);
    if (!readRequestLine(head.substr(0, end), request)) return false;
    while (end != std::string_view::npos) {
        head.remove_prefix(end + kLineEnd.size());
        end = head.find(kLineEnd);
        if (!readField(head.substr(0, end), request)) return false;
    }
    return true;
}

/// Absent when the head says nothing clear.
std::optional<std::size_t> bodyLength(const ReceivedRequest& request) {
    std::optional<std::size_t> length;
    for (const auto& [name, value] : request.headers) {
        if (strcasecmp(name.c_str(), "Transfer-Encoding") == 0) return {};
        if (strcasecmp(name.c_str(), "Content-Length") != 0) continue;
        const auto* end = value.data() + value.size();
        std::size_t number = 0;
        const auto [at, error] = std::from_chars(value.data(), end, number);
        if (error != std::errc() || at != end || length) return {};
        length = number;
    }
    return length.value_or(0);
}

bool receiveMore(int socket, std::string& bytes) {
    std::array<char, 65536> block;  // NOLINT(*-member-init): filled by recv
    const auto count = recv(socket, block.data(), block.size(), 0);
    if (count > 0) bytes.append(block.data(), static_cast<std::size_t>(count));
    return count > 0;
}

}  // namespace

ReceivedRequest receiveRequest(int socket) {
    ReceivedRequest request;
    std::size_t end = 0;
    while ((end = request.bytes.find("\r\n\r\n")) == std::string::npos)
        if (!receiveMore(socket, request.bytes)) return request;
    const bool wellFormed = readHead(std::string_view(request.bytes).substr(0, end), request);
    const auto length = bodyLength(request);
    if (!wellFormed || !length) return request;
    end += 4;
    while (request.bytes.size() - end < *length)
        if (!receiveMore(socket, request.bytes)) return request;
    request.body = request.bytes.substr(end, *length);
    request.complete = request.bytes.size() == end + *length;
    return request;
}

}  // namespace Velmor::Faults
