#include "service/Http/RequestReader.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>

namespace VelmorService {

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kTokenMarks = "!#$%&'*+-.^_`|~";

bool isToken(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](unsigned char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
               kTokenMarks.find(static_cast<char>(c)) != std::string_view::npos;
    });
}

bool isVisible(std::string_view text) {
    return std::ranges::all_of(text, [](unsigned char c) { return c > 0x20 && c != 0x7F; });
}

bool isFieldValue(std::string_view text) {
    return std::ranges::all_of(text, [](unsigned char c) { return (c >= 0x20 && c != 0x7F) || c == '\t'; });
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::optional<std::size_t> parsedSize(std::string_view digits, int base) {
    std::size_t value = 0;
    const auto* end = digits.data() + digits.size();
    const auto [at, error] = std::from_chars(digits.data(), end, value, base);
    return error == std::errc() && at == end ? std::optional(value) : std::nullopt;
}

/// Thrown inside this file only, to leave the parser from any depth.
struct Refusal {
    int status;
    std::string detail;
};

class Reader {
  public:
    Reader(Connection& connection, const RequestLimits& limits, RawRequest& request)
        : connection_(connection), limits_(limits), request_(request) {}

    void run() {
        readHead();
        readBody();
        request_.complete = true;
    }

  private:
    void readHead() {
        std::size_t end = 0;
        while ((end = request_.bytes.find("\r\n\r\n")) == std::string::npos) {
            if (request_.bytes.size() > limits_.head) {
                throw Refusal{431, "the request head is longer than 64 KiB"};
            }
            receive();
        }
        if (end > limits_.head) {
            throw Refusal{431, "the request head is longer than 64 KiB"};
        }
        taken_ = end + 4;
        const std::string head = request_.bytes.substr(0, end);
        const auto firstLine = head.find(kLineEnd);
        parseRequestLine(std::string_view(head).substr(0, firstLine));
        if (firstLine != std::string::npos) {
            parseFields(std::string_view(head).substr(firstLine + kLineEnd.size()));
        }
    }

    void parseRequestLine(std::string_view line) {
        const auto first = line.find(' ');
        const auto second = first == std::string_view::npos ? first : line.find(' ', first + 1);
        if (second == std::string_view::npos) {
            throw Refusal{400, "the request line is not METHOD TARGET VERSION"};
        }
        request_.method = line.substr(0, first);
        request_.target = line.substr(first + 1, second - first - 1);
        request_.version = line.substr(second + 1);
        if (!isToken(request_.method) || !isVisible(request_.target) || request_.target.empty()) {
            throw Refusal{400, "the request line is not METHOD TARGET VERSION"};
        }
        if (request_.target.size() > limits_.target) {
            throw Refusal{414, "the request target is longer than 8 KiB"};
        }
        if (request_.version != "HTTP/1.1" && request_.version != "HTTP/1.0") {
            throw Refusal{505, "only HTTP/1.1 is spoken here"};
        }
    }

    void parseFields(std::string_view lines) {
        while (!lines.empty()) {
            const auto end = std::min(lines.find(kLineEnd), lines.size());
            const auto line = lines.substr(0, end);
            const auto colon = line.find(':');
            if (colon == std::string_view::npos || !isToken(line.substr(0, colon)) ||
                !isFieldValue(line.substr(colon + 1))) {
                throw Refusal{400, "malformed header line"};
            }
            request_.headers.push_back(
                {std::string(line.substr(0, colon)), std::string(trimmed(line.substr(colon + 1)))});
            lines.remove_prefix(std::min(end + kLineEnd.size(), lines.size()));
        }
    }

    void readBody() {
        const auto length = declaredLength();
        const std::string* coding = request_.header("Transfer-Encoding");
        if (coding != nullptr && (length || !equalsIgnoringCase(*coding, "chunked"))) {
            throw Refusal{length ? 400 : 501, "only a plain length or chunked coding is taken"};
        }
        if (length && *length > limits_.body) {
            throw Refusal{413, "the body is longer than 4 MiB"};
        }
        if (coding != nullptr || (length && *length > 0)) {
            inviteBody();
        }
        if (coding != nullptr) {
            readChunks();
        } else if (length) {
            request_.body = takeBytes(*length);
        }
    }

    std::optional<std::size_t> declaredLength() const {
        std::optional<std::size_t> length;
        for (const auto& field : request_.headers) {
            if (!equalsIgnoringCase(field.name, "Content-Length")) {
                continue;
            }
            const auto value = parsedSize(field.value, 10);
            if (!value || (length && *length != *value)) {
                throw Refusal{400, "malformed Content-Length"};
            }
            length = value;
        }
        return length;
    }

    void inviteBody() {
        const std::string* expectation = request_.header("Expect");
        if (expectation != nullptr && equalsIgnoringCase(*expectation, "100-continue") &&
            taken_ == request_.bytes.size()) {
            connection_.write("HTTP/1.1 100 Continue\r\n\r\n", limits_.patience);
        }
    }

    void readChunks() {
        for (;;) {
            const std::string line = takeLine();
            const auto size = parsedSize(std::string_view(line).substr(0, line.find(';')), 16);
            if (!size) {
                throw Refusal{400, "malformed chunk size"};
            }
            if (*size > limits_.body - request_.body.size()) {
                throw Refusal{413, "the body is longer than 4 MiB"};
            }
            request_.body += takeBytes(*size);
            if (*size == 0) {
                break;
            }
            if (!takeLine().empty()) {
                throw Refusal{400, "a chunk is longer than its size says"};
            }
        }
        while (!takeLine().empty()) {
        }
    }

    std::string takeBytes(std::size_t count) {
        while (request_.bytes.size() - taken_ < count) {
            receive();
        }
        taken_ += count;
        return request_.bytes.substr(taken_ - count, count);
    }

    std::string takeLine() {
        std::size_t end = 0;
        while ((end = request_.bytes.find(kLineEnd, taken_)) == std::string::npos) {
            if (request_.bytes.size() - taken_ > limits_.head) {
                throw Refusal{400, "a line of the chunked body does not end"};
            }
            receive();
        }
        std::string line = request_.bytes.substr(taken_, end - taken_);
        taken_ = end + kLineEnd.size();
        return line;
    }

    void receive() {
        std::array<char, 65536> block;  // NOLINT(*-member-init): filled by the read
        std::size_t count = 0;
        switch (connection_.read(block, count, limits_.patience)) {
            case Connection::Result::Done:
                request_.bytes.append(block.data(), count);
                return;
            case Connection::Result::TimedOut:
                throw Refusal{request_.bytes.empty() ? 0 : 408, "the request did not arrive in time"};
            case Connection::Result::Closed:
            case Connection::Result::Stopped:
                throw Refusal{0, "the connection ended within the request"};
        }
    }

    Connection& connection_;
    const RequestLimits& limits_;
    RawRequest& request_;
    std::size_t taken_ = 0;  ///< bytes of `request_.bytes` already understood
};

}  // namespace

ReadOutcome readRequest(Connection& connection, const RequestLimits& limits, RawRequest& request) {
    try {
        Reader(connection, limits, request).run();
        return {200, {}};
    } catch (const Refusal& refusal) {
        return {refusal.status, refusal.detail};
    }
}

}  // namespace VelmorService
