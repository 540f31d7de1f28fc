// What each request of the sessions service means: the call it becomes, and the state that its outcome
// becomes.
#pragma once

#include "APIService/APIService.hpp"
#include "SessionService/SessionsService.hpp"

#include <string>

#include <Velmor/Platform/Device.hpp>
#include <Velmor/Platform/Http.hpp>

/// Of every request but `log`.
namespace Velmor::SessionCalls {

using Request = SessionsService::Request;
using State = SessionsService::State;

/// The debug line of a request that goes out.
std::string line(const Request& request);

/// Throws PlatformError for an id that cannot be in a path and for text that cannot be sent. The bytes of an
/// upload are moved out of the request.
HttpRequest httpRequest(Request& request, const Device& device);

/// For the record that a request is answered with.
RecordDecoder decoder(const Request& request);

/// What is published of the outcome, be it a success or a failure.
State stateOf(const Request& request, const APIOutcome& outcome);

}  // namespace Velmor::SessionCalls
