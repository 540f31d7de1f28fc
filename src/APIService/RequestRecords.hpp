// The bodies of requests. The key of a field is its name in snake case; a name with an underscore is the key.
#pragma once

#include <optional>
#include <string>

#include <Velmor/Platform/Clock.hpp>

namespace Velmor::Model::Request {

/// A user to be made.
struct User {
    template <class Visitor>
    static constexpr void eachField(Visitor&&) {}
};

/// A session to be opened.
struct CreateSession {
    std::optional<std::string> service;
    std::string uploadDataType;
    WallTime sessionStartTime;
    bool forceCreate =
        true;  ///< always: a session that was left open must not keep a night from being tracked
    std::optional<std::string> callback_url;
    std::optional<std::string> callback_version;

    template <class Visitor>
    static constexpr void eachField(Visitor&& visitor) {
        visitor("service", &CreateSession::service);
        visitor("uploadDataType", &CreateSession::uploadDataType);
        visitor("sessionStartTime", &CreateSession::sessionStartTime);
        visitor("forceCreate", &CreateSession::forceCreate);
        visitor("callback_url", &CreateSession::callback_url);
        visitor("callback_version", &CreateSession::callback_version);
    }
};

/// A session to be closed.
struct CloseSession {
    WallTime sessionEndTime;
    bool unexpected = false;

    template <class Visitor>
    static constexpr void eachField(Visitor&& visitor) {
        visitor("sessionEndTime", &CloseSession::sessionEndTime);
        visitor("unexpected", &CloseSession::unexpected);
    }
};

/// A form, whose file field this is.
struct UploadData {
    std::string melspectrogram;  ///< bytes of the .npy file

    template <class Visitor>
    static constexpr void eachField(Visitor&& visitor) {
        visitor("melspectrogram", &UploadData::melspectrogram);
    }
};

}  // namespace Velmor::Model::Request
