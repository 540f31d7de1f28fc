#pragma once

#include "service/Http/Connection.hpp"
#include "service/Http/Message.hpp"

#include <chrono>
#include <cstddef>
#include <string>

namespace VelmorService {

struct RequestLimits {
    std::size_t head = 64 * 1024;
    std::size_t body = 4 * 1024 * 1024;
    std::size_t target = 8 * 1024;
    /// Longest silence of the client while its request is read.
    std::chrono::milliseconds patience{10'000};
};

/// How reading a request ended. `status` is 0 when the client went away (or the server stops) before its
/// request was complete, 200 when it is complete, otherwise the status to refuse it with, for the reason in
/// `detail`.
struct ReadOutcome {
    int status = 0;
    std::string detail;
};

/// Reads one HTTP/1.x request, strictly: CR LF line ends, no folded header lines, one length. Takes bodies
/// with a Content-Length or chunked, and answers "Expect: 100-continue". `request` holds what was received
/// even when the request is incomplete or refused.
ReadOutcome readRequest(Connection& connection, const RequestLimits& limits, RawRequest& request);

}  // namespace VelmorService
