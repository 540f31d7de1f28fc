// Requests through the real transport to a scripted peer on loopback.
#pragma once

#include "Input.hpp"
#include "tests/Faults/FaultServer.hpp"

#include <future>
#include <vector>

#include <Velmor/Platform/Http.hpp>

namespace Velmor::Fuzz {

// What OpenSSL keeps for a thread is not seen where libcurl was loaded late.
extern "C" const char* __lsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier)
    return "leak:CRYPTO_zalloc";
}

inline auto& peer = *new Faults::FaultServer;  // as long as the process

/// The outcome of one request that is answered with these bytes, and what arrived of it.
inline std::pair<HttpResult, std::vector<Faults::ReceivedRequest>> exchange(HttpRequest request,
                                                                            std::string answer) {
    static const auto transport = makeHttpTransport();
    peer.setFallback({.steps = {Faults::FaultServer::Send{std::move(answer)}}});
    request.idleLimit = std::chrono::milliseconds{300};
    std::promise<HttpResult> told;  // throws when it is told twice
    auto result = told.get_future();
    const auto flight =
        transport->send(std::move(request), [&](HttpResult outcome) { told.set_value(std::move(outcome)); });
    require(result.wait_for(std::chrono::seconds{5}) == std::future_status::ready,
            "a request without an end");
    return {result.get(), peer.takeRequests()};
}

}  // namespace Velmor::Fuzz
