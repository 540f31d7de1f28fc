// What each request of the sessions service means: the call it becomes, and the state that its outcome
// becomes.
#pragma once

#include "APIService/APIService.hpp"
#include "SessionService/SessionsService.hpp"

#include <functional>
#include <memory>

#include <Velmor/Platform.hpp>

namespace Velmor::SessionCalls {

/// Writes the request's debug line and makes its call. `done` gets the state that the outcome becomes, on the
/// main loop. Throws what makes the request impossible to send. For every request but `log`.
void send(const std::shared_ptr<AcceptedRequest>& accepted, APIService& api, const Platform& platform,
          LogAPI& log, std::function<void(const SessionsService::State&)> done);

SessionsService::State stateOfFailure(const SessionsService::Request& request,
                                      const std::exception_ptr& failure);

}  // namespace Velmor::SessionCalls
