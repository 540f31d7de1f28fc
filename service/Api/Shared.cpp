#include "service/Api/Routes.hpp"
#include "service/MelArray.hpp"
#include "service/Multipart.hpp"

#include <algorithm>
#include <charconv>

namespace VelmorService {

namespace {

constexpr std::size_t kLongestId = 256;
constexpr std::string_view kPartName = "melspectrogram";

}  // namespace

std::string requiredUser(const Request& request) {
    const std::string* user = request.raw.header("x-user-id");
    if (user == nullptr || user->empty()) {
        throw ApiError(400, ErrorCode::kUserMissing, "the header x-user-id is missing: join a user first");
    }
    return checkedId(*user);
}

std::string timezoneOf(const Request& request) {
    const std::string* zone = request.raw.header("timezone");
    return zone == nullptr || zone->empty() ? "UTC" : *zone;
}

const std::string& checkedId(const std::string& id) {
    const bool control = std::ranges::any_of(id, [](unsigned char c) { return c < 0x20 || c == 0x7F; });
    if (id.empty() || id.size() > kLongestId || control) {
        throw ApiError(400, ErrorCode::kBadRequest, "an id has 1 to 256 bytes and no control characters");
    }
    return id;
}

std::int64_t checkedNumber(const std::string& text, std::int64_t least, std::int64_t most,
                           const std::string& what) {
    std::int64_t value = 0;
    const auto* end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || at != end || value < least || value > most) {
        throw ApiError(
            400, ErrorCode::kBadRequest,
            what + " must be a number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return value;
}

void refuseUnknownSession(const std::string& id) {
    throw ApiError(404, ErrorCode::kUnknownSession, "there is no session " + id);
}

SessionRow requiredSession(Store& store, const std::string& id) {
    auto session = store.session(checkedId(id));
    if (!session) {
        refuseUnknownSession(id);
    }
    return *session;
}

std::string_view uploadedMel(const Request& request) {
    const std::string* type = request.raw.header("Content-Type");
    const auto parts = parseFormData(type == nullptr ? "" : *type, request.raw.body);
    if (parts.size() != 1 || parts.front().name != kPartName) {
        throw ApiError(400, ErrorCode::kMultipart, "the form must have exactly one part, \"melspectrogram\"");
    }
    if (!parts.front().fileName || parts.front().fileName->empty()) {
        throw ApiError(400, ErrorCode::kMultipart, "the part \"melspectrogram\" must have a file name");
    }
    melPayload(parts.front().data);
    return parts.front().data;
}

}  // namespace VelmorService
