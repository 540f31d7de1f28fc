// The bodies of requests.
#pragma once

#include "APIService/Fields.hpp"

#include <optional>
#include <string>

#include <Velmor/Platform/Clock.hpp>

namespace Velmor::Model::Request {

/// A user to be made.
struct User {};

/// A session to be opened.
struct CreateSession {
    std::optional<std::string> service;
    std::string uploadDataType;
    WallTime sessionStartTime;
    /// Always true: a session that was left open must not keep a night from being tracked.
    bool forceCreate = true;
    std::optional<std::string> callback_url;
    std::optional<std::string> callback_version;
};

/// A session to be closed.
struct CloseSession {
    WallTime sessionEndTime;
    bool unexpected = false;
};

/// A form, whose file field this is.
struct UploadData {
    std::string melspectrogram;  ///< bytes of the .npy file
};

}  // namespace Velmor::Model::Request

namespace Velmor {

VELMOR_FIELDS(Model::Request::User)
VELMOR_FIELDS(Model::Request::CreateSession, service, uploadDataType, sessionStartTime, forceCreate,
              callback_url, callback_version)
VELMOR_FIELDS(Model::Request::CloseSession, sessionEndTime, unexpected)
VELMOR_FIELDS(Model::Request::UploadData, melspectrogram)

}  // namespace Velmor
