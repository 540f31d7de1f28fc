// What each request of the sessions service means: the call it becomes, and the state that its outcome
// becomes.
#pragma once

#include "SessionService/SessionsService.hpp"

#include <exception>
#include <optional>
#include <string>

#include <Velmor/Model.hpp>
#include <Velmor/Platform/Device.hpp>
#include <Velmor/Platform/Http.hpp>

namespace Velmor {

namespace SessionCalls {

using Request = SessionsService::Request;
using State = SessionsService::State;

/// The record that a request is answered with.
template <class R>
struct Answer;
template <>
struct Answer<Request::userJoin> {
    using Record = Model::User;
};
template <>
struct Answer<Request::userDelete> {
    using Record = Model::DeleteUser;
};
template <>
struct Answer<Request::create> {
    using Record = Model::CreateSession;
};
template <>
struct Answer<Request::mel> {
    using Record = Model::UploadData;
};
template <>
struct Answer<Request::close> {
    using Record = Model::CloseSession;
};
template <>
struct Answer<Request::analysis> {
    using Record = Model::Report;
};

/// The debug line of a request that goes out.
std::string line(const Request::userJoin& request);
std::string line(const Request::userDelete& request);
std::string line(const Request::create& request);
std::string line(const Request::mel& request);
std::string line(const Request::close& request);
std::string line(const Request::analysis& request);

/// Throws VelmorError for an id that cannot be in a path, PlatformError for text that cannot be sent. The
/// bytes of an upload are moved out of the request.
HttpRequest httpRequest(const Request::userJoin& request, const Device& device);
HttpRequest httpRequest(const Request::userDelete& request, const Device& device);
HttpRequest httpRequest(const Request::create& request, const Device& device);
HttpRequest httpRequest(Request::mel& request, const Device& device);
HttpRequest httpRequest(const Request::close& request, const Device& device);
HttpRequest httpRequest(const Request::analysis& request, const Device& device);

/// The state of a success. Throws VelmorError when the answer lacks a result that is needed.
State succeeded(const Request::userJoin& request, std::optional<Model::User> result);
State succeeded(const Request::userDelete& request, std::optional<Model::DeleteUser> result);
State succeeded(const Request::create& request, std::optional<Model::CreateSession> result);
State succeeded(const Request::mel& request, std::optional<Model::UploadData> result);
State succeeded(const Request::close& request, std::optional<Model::CloseSession> result);
State succeeded(const Request::analysis& request, std::optional<Model::Report> result);

/// The state of a failure.
State::error failed(const Request::userJoin& request, const std::exception_ptr& error);
State::error failed(const Request::userDelete& request, const std::exception_ptr& error);
State::error failed(const Request::create& request, const std::exception_ptr& error);
State::error failed(const Request::mel& request, const std::exception_ptr& error);
State::error failed(const Request::close& request, const std::exception_ptr& error);
State::error failed(const Request::analysis& request, const std::exception_ptr& error);

}  // namespace SessionCalls
}  // namespace Velmor
