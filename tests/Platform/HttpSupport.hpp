// A request that a test waits for.
#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <Velmor/Platform/Http.hpp>

namespace Velmor {

inline HttpRequest requestTo(const std::string& url) {
    using namespace std::chrono_literals;
    return {"GET", Url::parse(url).value(), {}, {}, 5s, 10s};
}

/// The outcome of `request`, or a failure of kind `cancelled` when none came at all.
inline HttpResult answerTo(HttpTransport& transport, HttpRequest request) {
    auto promise = std::make_shared<std::promise<HttpResult>>();
    auto answer = promise->get_future();
    const auto exchange = transport.send(
        std::move(request), [promise](HttpResult result) { promise->set_value(std::move(result)); });
    if (answer.wait_for(std::chrono::seconds(30)) != std::future_status::ready)
        return PlatformError(PlatformError::Kind::cancelled, "the transport never answered");
    return answer.get();
}

inline std::optional<PlatformError::Kind> kindOf(const HttpResult& result) {
    if (const auto* error = std::get_if<PlatformError>(&result)) return error->kind();
    return {};
}

inline std::string textOf(const HttpResult& result) {
    if (const auto* error = std::get_if<PlatformError>(&result))
        return std::string(error->what()) + " (" + std::to_string(error->code()) + ")";
    return std::to_string(std::get<HttpResponse>(result).status);
}

}  // namespace Velmor
