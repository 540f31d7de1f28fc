#include "service/Json/RequestBodies.hpp"

#include "service/Http/Message.hpp"

#include <nlohmann/json.hpp>

namespace VelmorService {

namespace {

using nlohmann::json;

[[noreturn]] void refuse(const std::string& reason) {
    throw ApiError(400, ErrorCode::kBadRequest, reason);
}

json parsedObject(const std::string& text) {
    json value = json::parse(text, nullptr, false);
    if (!value.is_object()) {
        refuse("the body is no JSON object");
    }
    return value;
}

std::optional<std::string> optionalString(const json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || found->is_null()) {
        return std::nullopt;
    }
    if (!found->is_string()) {
        refuse(std::string(key) + " must be a string or null");
    }
    return found->get<std::string>();
}

std::string requiredString(const json& object, const char* key) {
    const auto value = optionalString(object, key);
    if (!value) {
        refuse(std::string(key) + " is missing");
    }
    return *value;
}

bool requiredFlag(const json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_boolean()) {
        refuse(std::string(key) + " must be true or false");
    }
    return found->get<bool>();
}

Instant requiredInstant(const json& object, const char* key) {
    const auto instant = parseInstant(requiredString(object, key));
    if (!instant) {
        refuse(std::string(key) + " is no ISO 8601 date and time with an offset");
    }
    return *instant;
}

}  // namespace

CreateSessionBody readCreateSession(const std::string& text) {
    const json object = parsedObject(text);
    CreateSessionBody body;
    body.service = optionalString(object, "service").value_or("");
    body.uploadDataType = requiredString(object, "upload_data_type");
    if (body.uploadDataType != "MELSPECTROGRAM" && body.uploadDataType != "AUDIO") {
        refuse("upload_data_type must be MELSPECTROGRAM or AUDIO");
    }
    body.sessionStartTime = requiredInstant(object, "session_start_time");
    body.forceCreate = requiredFlag(object, "force_create");
    body.callbackUrl = optionalString(object, "callback_url");
    body.callbackVersion = optionalString(object, "callback_version");
    if (body.callbackUrl.has_value() != body.callbackVersion.has_value()) {
        refuse("callback_url and callback_version come together");
    }
    return body;
}

CloseSessionBody readCloseSession(const std::string& text) {
    const json object = parsedObject(text);
    return {requiredInstant(object, "session_end_time"), requiredFlag(object, "unexpected")};
}

LogBody readLog(const std::string& text) {
    const json object = parsedObject(text);
    return {requiredString(object, "ddsource"), requiredString(object, "ddtags"),
            requiredString(object, "hostname"), requiredString(object, "message"),
            requiredString(object, "service")};
}

void checkObject(const std::string& text) {
    parsedObject(text);
}

}  // namespace VelmorService
