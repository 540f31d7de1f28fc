// An HTTP request as a test's server received it.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace Velmor::Faults {

/// Nothing is decoded; header fields are in their order and keep their letter case.
struct ReceivedRequest {
    std::string method;
    std::string target;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    std::string bytes;      ///< everything that arrived
    bool complete = false;  ///< the bytes are one whole, well-formed request
};

/// Reads until the request is whole or malformed, or until the client stops sending. A body needs a
/// Content-Length.
ReceivedRequest receiveRequest(int socket);

}  // namespace Velmor::Faults
