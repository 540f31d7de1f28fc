// Sends requests to the service and unwraps its answers.
#pragma once

#include "APIService/Decode.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <variant>

#include <Velmor/Platform/Executor.hpp>
#include <Velmor/Platform/Http.hpp>

namespace Velmor {

/// The code of a failure that has none of its own.
inline constexpr std::int64_t kNoErrorCode = -9999;

/// What came of a request: the record in the answer's envelope, none when the answer holds none, or what went
/// wrong. Copies share it.
template <class Record>
struct APIResult {
    std::shared_ptr<const Record> record;
    std::exception_ptr error;  ///< a VelmorError, a PlatformError or a DecodingError
};

/// Any thread. Releasing it gives up what is under way; the completions are then destroyed uncalled.
class APIService : public std::enable_shared_from_this<APIService> {
  public:
    /// Longer than any request takes.
    static constexpr std::chrono::seconds kAnswerCheck{60};

    explicit APIService(const std::shared_ptr<HttpTransport>& http);

    /// The answer is decoded and `completion`, which takes an `APIResult<Record>`, called on `on`. The record
    /// is null for 204, whose body is not looked at. Statuses outside 200 to 399 are a VelmorError, case
    /// `httpStatus`; bodies that are no envelope are a DecodingError. When the executor has no memory to take
    /// the answer in, the answer waits for a timer that was set before the request went out, at most
    /// `kAnswerCheck`.
    template <class Record, class Completion>
    void request(HttpRequest&& request, const std::shared_ptr<Executor>& on, Completion completion) {
        send(std::move(request), on, [completion = std::move(completion)](const HttpResult& result) {
            completion(resultOf<Record>(result));
        });
    }

  private:
    using Receiver = std::function<void(const HttpResult&)>;
    struct Answer {
        std::optional<HttpResult> result;  ///< written by the transport, read once it has arrived
        std::atomic<bool> arrived{false};
    };
    struct Pending {
        std::unique_ptr<HttpExchange> exchange;
        Receiver receiver;
        std::shared_ptr<Answer> answer;
    };

    /// Throws what `result` says that went wrong.
    static const HttpResponse& checked(const HttpResult& result);

    template <class Record>
    static APIResult<Record> resultOf(const HttpResult& result) {
        try {
            const auto& response = checked(result);
            if (response.status == 204) return {};
            return {decodeResponse<Record>(response.body).result, {}};
        } catch (...) {
            return {{}, std::current_exception()};
        }
    }

    void send(HttpRequest request, const std::shared_ptr<Executor>& on, Receiver receiver);
    void finish(std::uint64_t number);
    std::optional<Pending> take(std::uint64_t number);

    const std::shared_ptr<HttpTransport> http_;
    Mutex mutex_;
    std::uint64_t next_ VELMOR_GUARDED_BY(mutex_) = 0;
    std::map<std::uint64_t, Pending> pending_ VELMOR_GUARDED_BY(mutex_);
};

}  // namespace Velmor
