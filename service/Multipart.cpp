#include "service/Multipart.hpp"

#include "service/Http/Message.hpp"

#include <algorithm>

namespace VelmorService {

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::size_t kLongestBoundary = 70;

[[noreturn]] void refuse(const std::string& reason) {
    throw ApiError(400, ErrorCode::kMultipart, reason);
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// The value of `name` among the ;-separated parameters of a header value, quotes removed.
std::optional<std::string> parameter(std::string_view value, std::string_view name) {
    for (auto at = value.find(';'); at != std::string_view::npos;) {
        value = trimmed(value.substr(at + 1));
        const auto equals = value.find_first_of("=;");
        if (equals == std::string_view::npos || value[equals] == ';') {
            at = value.find(';');
            continue;
        }
        const bool wanted = equalsIgnoringCase(trimmed(value.substr(0, equals)), name);
        value.remove_prefix(equals + 1);
        std::size_t end = 0;
        std::string_view text;
        if (!value.empty() && value.front() == '"') {
            const auto close = value.find('"', 1);
            if (close == std::string_view::npos) {
                return std::nullopt;
            }
            text = value.substr(1, close - 1);
            end = close + 1;
        } else {
            end = std::min(value.find(';'), value.size());
            text = trimmed(value.substr(0, end));
        }
        if (wanted) {
            return std::string(text);
        }
        value.remove_prefix(end);
        at = value.find(';');
    }
    return std::nullopt;
}

std::string boundaryOf(std::string_view contentType) {
    const auto type = trimmed(contentType.substr(0, contentType.find(';')));
    if (!equalsIgnoringCase(type, "multipart/form-data")) {
        refuse("the body must be multipart/form-data");
    }
    const auto boundary = parameter(contentType, "boundary");
    if (!boundary || boundary->empty() || boundary->size() > kLongestBoundary) {
        refuse("the Content-Type names no usable boundary");
    }
    return *boundary;
}

void readPartHeader(FormPart& part, std::string_view line) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) {
        refuse("a part has a header line without a colon");
    }
    const auto name = line.substr(0, colon);
    const auto value = trimmed(line.substr(colon + 1));
    if (equalsIgnoringCase(name, "Content-Disposition")) {
        if (!equalsIgnoringCase(trimmed(value.substr(0, value.find(';'))), "form-data")) {
            refuse("a part's disposition is not form-data");
        }
        part.name = parameter(value, "name").value_or("");
        part.fileName = parameter(value, "filename");
    } else if (equalsIgnoringCase(name, "Content-Type")) {
        part.contentType = std::string(value);
    }
}

FormPart parsePart(std::string_view text) {
    FormPart part;
    for (;;) {
        const auto end = text.find(kLineEnd);
        if (end == std::string_view::npos) {
            refuse("a part's header does not end");
        }
        const auto line = text.substr(0, end);
        text.remove_prefix(end + kLineEnd.size());
        if (line.empty()) {
            break;
        }
        readPartHeader(part, line);
    }
    if (part.name.empty()) {
        refuse("a part has no name");
    }
    part.data = text;
    return part;
}

}  // namespace

std::vector<FormPart> parseFormData(std::string_view contentType, std::string_view body) {
    const std::string delimiter = "--" + boundaryOf(contentType);
    const std::string inner = "\r\n" + delimiter;
    if (!body.starts_with(delimiter)) {
        refuse("the body does not begin with the boundary that the header names");
    }
    body.remove_prefix(delimiter.size());
    std::vector<FormPart> parts;
    while (!body.starts_with("--")) {
        if (!body.starts_with(kLineEnd)) {
            refuse("a boundary line does not end in CR LF");
        }
        body.remove_prefix(kLineEnd.size());
        const auto end = body.find(inner);
        if (end == std::string_view::npos) {
            refuse("the closing boundary is missing");
        }
        parts.push_back(parsePart(body.substr(0, end)));
        body.remove_prefix(end + inner.size());
    }
    if (body != "--" && body != "--\r\n") {
        refuse("there are bytes after the closing boundary");
    }
    return parts;
}

}  // namespace VelmorService
