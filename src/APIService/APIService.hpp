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
struct APIOutcome {
    std::exception_ptr error;  ///< a VelmorError, a PlatformError or a DecodingError
    std::shared_ptr<const void> record;

    /// `T` is the record that was expected. Null when there is none.
    template <class T>
    const T* as() const {
        return static_cast<const T*>(record.get());
    }
};

/// Any thread. Releasing it gives up what is under way; the completions are then destroyed uncalled.
class APIService : public std::enable_shared_from_this<APIService> {
  public:
    /// Longer than any request takes.
    static constexpr std::chrono::seconds kAnswerCheck{60};

    explicit APIService(const std::shared_ptr<HttpTransport>& http);

    /// The answer is decoded and `completion` called on `on`. When the executor has no memory to take an
    /// answer in, the answer waits for a timer that was set before the request went out, at most
    /// `kAnswerCheck`. Null for 204 without looking at the body. Statuses outside 200 to 399 are a
    /// VelmorError, case `httpStatus`; bodies that are no envelope are a DecodingError.
    void request(HttpRequest&& request, const std::shared_ptr<Executor>& on, RecordDecoder decoder,
                 std::function<void(const APIOutcome&)> completion);

  private:
    using Completion = HttpTransport::Completion;
    struct Answer {
        std::optional<HttpResult> result;  ///< written by the transport, read once it has arrived
        std::atomic<bool> arrived{false};
    };
    struct Pending {
        std::unique_ptr<HttpExchange> exchange;
        Completion completion;
        std::shared_ptr<Answer> answer;
    };

    void send(HttpRequest request, const std::shared_ptr<Executor>& on, Completion completion);
    void finish(std::uint64_t number);
    std::optional<Pending> take(std::uint64_t number);

    const std::shared_ptr<HttpTransport> http_;
    Mutex mutex_;
    std::uint64_t next_ VELMOR_GUARDED_BY(mutex_) = 0;
    std::map<std::uint64_t, Pending> pending_ VELMOR_GUARDED_BY(mutex_);
};

}  // namespace Velmor
