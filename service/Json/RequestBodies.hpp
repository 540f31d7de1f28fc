#pragma once

#include "service/Dates.hpp"

#include <optional>
#include <string>

namespace VelmorService {

/// The JSON bodies that clients send. Each reader throws ApiError 400 that names the field which is missing
/// or wrong; keys that it does not know are ignored.

struct CreateSessionBody {
    std::string service;
    std::string uploadDataType;  ///< "MELSPECTROGRAM" or "AUDIO"
    Instant sessionStartTime = 0;
    bool forceCreate = false;
    std::optional<std::string> callbackUrl;
    std::optional<std::string> callbackVersion;
};
CreateSessionBody readCreateSession(const std::string& json);

struct CloseSessionBody {
    Instant sessionEndTime = 0;
    bool unexpected = false;
};
CloseSessionBody readCloseSession(const std::string& json);

struct LogBody {
    std::string ddsource;
    std::string ddtags;
    std::string hostname;
    std::string message;
    std::string service;
};
LogBody readLog(const std::string& json);

/// Any JSON object; the fields do not matter.
void checkObject(const std::string& json);

}  // namespace VelmorService
