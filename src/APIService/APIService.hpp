// Sends requests to the service and unwraps its answers.
#pragma once

#include "APIService/Decode.hpp"

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <variant>

#include <Velmor/Platform/Executor.hpp>
#include <Velmor/Platform/Http.hpp>

namespace Velmor {

/// The code of a failure that has none of its own.
inline constexpr std::int64_t kNoErrorCode = -9999;

/// Null for 204 without looking at the body, else the result in the body's envelope. Statuses outside 200 to
/// 399 throw VelmorError, case `httpStatus`; bodies that are no envelope throw DecodingError.
void checkStatus(const HttpResponse& response);

template <class T>
std::optional<T> unwrap(const HttpResponse& response) {
    if (response.status == 204) return {};
    checkStatus(response);
    return decodeResponse<T>(response.body).result;
}

/// Any thread. Releasing it gives up what is under way; the completions are then destroyed uncalled.
class APIService : public std::enable_shared_from_this<APIService> {
  public:
    /// The result, none when the answer holds none; or what went wrong: a VelmorError, a PlatformError or a
    /// DecodingError.
    template <class T>
    using Outcome = std::variant<std::optional<T>, std::exception_ptr>;

    explicit APIService(std::shared_ptr<HttpTransport> http);

    /// `T` is the record expected as result. The answer is decoded and `completion` called on `on`.
    template <class T>
    void request(HttpRequest&& request, const std::shared_ptr<Executor>& on,
                 std::function<void(Outcome<T>)> completion) {
        send(std::move(request), on,
             [completion = std::move(completion)](HttpResult result) { completion(outcome<T>(result)); });
    }

  private:
    using Completion = HttpTransport::Completion;
    struct Pending {
        std::unique_ptr<HttpExchange> exchange;
        Completion completion;
    };

    template <class T>
    static Outcome<T> outcome(const HttpResult& result) {
        if (const auto* error = std::get_if<PlatformError>(&result)) return std::make_exception_ptr(*error);
        try {
            return unwrap<T>(std::get<HttpResponse>(result));
        } catch (...) {
            return std::current_exception();
        }
    }

    void send(HttpRequest request, std::shared_ptr<Executor> on, Completion completion);
    void finish(std::uint64_t number, HttpResult result);

    const std::shared_ptr<HttpTransport> http_;
    std::mutex mutex_;  // guards all below
    std::uint64_t next_ = 0;
    std::map<std::uint64_t, Pending> pending_;
};

}  // namespace Velmor
