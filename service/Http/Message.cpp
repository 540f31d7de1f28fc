#include "service/Http/Message.hpp"

#include "service/Json/JsonText.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <utility>

namespace VelmorService {

namespace {

constexpr std::size_t kLongestTarget = 8 * 1024;

int hexDigit(char c) {
    int value = -1;
    std::from_chars(&c, &c + 1, value, 16);
    return value;
}

std::string percentDecoded(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
        const int low = i + 2 < text.size() ? hexDigit(text[i + 2]) : -1;
        if (high < 0 || low < 0) {
            throw ApiError(400, ErrorCode::kBadRequest, "broken percent escape in the request target");
        }
        decoded += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return decoded;
}

template <typename Each>
void split(std::string_view text, char separator, Each each) {
    while (true) {
        const auto at = text.find(separator);
        each(text.substr(0, at));
        if (at == std::string_view::npos) {
            return;
        }
        text.remove_prefix(at + 1);
    }
}

}  // namespace

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char left, unsigned char right) {
        return std::tolower(left) == std::tolower(right);
    });
}

const std::string* RawRequest::header(std::string_view name) const {
    for (const auto& field : headers) {
        if (equalsIgnoringCase(field.name, name)) {
            return &field.value;
        }
    }
    return nullptr;
}

std::string_view RawRequest::path() const {
    const std::string_view all = target;
    return all.substr(0, all.find('?'));
}

Request decodeTarget(RawRequest raw) {
    Request request;
    request.raw = std::move(raw);
    const std::string_view target = request.raw.target;
    if (target.size() > kLongestTarget) {
        throw ApiError(414, ErrorCode::kBadRequest, "the request target is longer than 8 KiB");
    }
    if (target.empty() || target.front() != '/') {
        throw ApiError(400, ErrorCode::kBadRequest, "the request target must begin with a slash");
    }
    const auto question = target.find('?');
    split(target.substr(1, question == std::string_view::npos ? question : question - 1), '/',
          [&](std::string_view segment) { request.path.push_back(percentDecoded(segment)); });
    if (question != std::string_view::npos) {
        split(target.substr(question + 1), '&', [&](std::string_view pair) {
            const auto equals = pair.find('=');
            const auto value =
                equals == std::string_view::npos ? std::string_view() : pair.substr(equals + 1);
            request.query[percentDecoded(pair.substr(0, equals))] = percentDecoded(value);
        });
    }
    return request;
}

Response errorResponse(int status, int code, std::string_view detail) {
    Response response;
    response.status = status;
    response.body = jsonText({{"result", {{"error_code", code}}}, {"detail", detail}});
    return response;
}

Response resultResponse(const Json& result) {
    Response response;
    response.body = jsonText({{"result", result}});
    return response;
}

Response emptyResult() {
    return resultResponse(Json::object());
}

}  // namespace VelmorService
