#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace VelmorService {

/// One part of a multipart/form-data body; `data` points into the body.
struct FormPart {
    std::string name;
    std::optional<std::string> fileName;
    std::optional<std::string> contentType;  ///< an empty value is a value
    std::string_view data;
};

/// Splits a multipart/form-data body by its Content-Type header value. Parts must have CR LF line ends and a
/// form-data disposition with a name; the closing delimiter must be there, a line end after it need not.
/// Throws ApiError 400 with the reason.
std::vector<FormPart> parseFormData(std::string_view contentType, std::string_view body);

}  // namespace VelmorService
