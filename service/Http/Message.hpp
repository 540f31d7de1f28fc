#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace VelmorService {

struct HeaderField {
    std::string name;
    std::string value;
};

/// A request as it was received: nothing decoded, header fields in their order, letter case kept.
struct RawRequest {
    std::string method;
    std::string target;
    std::vector<HeaderField> headers;
    std::string body;          ///< without transfer coding
    bool bodyTooLong = false;  ///< the body is longer than 4 MiB and was dropped

    /// The first value of a header field, whatever the case of its name; nullptr when there is none.
    const std::string* header(std::string_view name) const;
    /// Target up to the query.
    std::string_view path() const;
};

/// A request as the handlers see it: path segments and query values percent-decoded. A plus sign stays a plus
/// sign.
struct Request {
    RawRequest raw;
    std::vector<std::string> path;
    std::map<std::string, std::string> query;
};

/// What a handler answers. The server adds the headers of length and connection.
struct Response {
    int status = 200;
    std::string contentType = "application/json";
    std::string body;
    std::vector<HeaderField> headers;
};

/// Thrown by a handler to answer an error envelope: {"result":{"error_code":code},"detail":what()}.
class ApiError : public std::runtime_error {
  public:
    ApiError(int status, int code, const std::string& detail)
        : std::runtime_error(detail), status_(status), code_(code) {}
    int status() const { return status_; }
    int code() const { return code_; }

  private:
    int status_;
    int code_;
};

/// The numbers in "error_code"; docs/local-service.md says what each means to a client.
namespace ErrorCode {
inline constexpr int kBadRequest = 1001;
inline constexpr int kKeyMissing = 1002;
inline constexpr int kKeyWrong = 1003;
inline constexpr int kNoSuchPath = 1004;
inline constexpr int kUserMissing = 1005;
inline constexpr int kForeignHost = 1006;
inline constexpr int kUnknownSession = 1101;
inline constexpr int kClosedSession = 1102;
inline constexpr int kOpenSession = 1103;
inline constexpr int kUnknownUser = 1104;
inline constexpr int kUnknownItem = 1105;
inline constexpr int kMultipart = 1201;
inline constexpr int kArray = 1202;
inline constexpr int kTooLarge = 1203;
inline constexpr int kInternal = 1500;
}  // namespace ErrorCode

bool equalsIgnoringCase(std::string_view a, std::string_view b);
/// Splits and decodes a target; throws ApiError 400 for a broken escape, 414 for a target over 8 KiB.
Request decodeTarget(RawRequest raw);
Response errorResponse(int status, int code, std::string_view detail);
/// {"result": ...} around a value.
Response resultResponse(const nlohmann::ordered_json& result);
/// {"result":{}}
Response emptyResult();

}  // namespace VelmorService
