/// The HTTP seam: one request out, one response or failure back.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <Velmor/Error.hpp>
#include <Velmor/Export.hpp>
#include <Velmor/Url.hpp>

namespace Velmor {

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
    std::string method;  ///< "GET", "POST" or "DELETE"
    Url url;
    HttpHeaders headers;                           ///< sent in this order, names as written, none twice
    std::string body;                              ///< bytes; empty for none
    std::chrono::milliseconds idleLimit{15'000};   ///< longest time without a byte either way
    std::chrono::milliseconds totalLimit{30'000};  ///< longest time in all
};

struct HttpResponse {
    int status = 0;
    HttpHeaders headers;
    std::string body;  ///< bytes, at most 4 MiB
};

using HttpResult = std::variant<HttpResponse, PlatformError>;

/// A request under way. Releasing it gives the request up: the connection is closed at once, and the
/// completion is not called any more unless it is running already. May be released on any thread, in the
/// completion too.
class HttpExchange {
  public:
    virtual ~HttpExchange() = default;
};

/// Opens a fresh connection for each request; follows no redirect, keeps no cookie, verifies the server
/// always. Fails a request as a PlatformError when a header name or value holds a control character, when a
/// limit passes, when headers exceed 64 KiB or the body 4 MiB, and for clear text to anything but loopback
/// unless allowed.
class HttpTransport {
  public:
    using Completion = std::function<void(HttpResult)>;

    virtual ~HttpTransport() = default;
    /// May be called on any thread and never blocks. `completion` is called at most once, on a thread of the
    /// transport, never from inside `send`; it must not block.
    virtual std::unique_ptr<HttpExchange> send(HttpRequest request, Completion completion) = 0;
};

struct HttpOptions {
    bool allowClearText = false;  ///< http to machines other than this one
    std::string caFile;  ///< PEM file of trusted roots instead of the system's; empty for the system's
};

/// The system's own transport.
VELMOR_API std::shared_ptr<HttpTransport> makeHttpTransport(HttpOptions options = {});

}  // namespace Velmor
