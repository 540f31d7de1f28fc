/// A transport that answers from a script and remembers what it was asked.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <Velmor/Platform/Executor.hpp>
#include <Velmor/Platform/Http.hpp>

namespace Velmor::Testing {

/// Answers come from the queue first, then from the handler; a request for which there is neither fails at
/// once, kind `cannotConnect`. Completions run on the executor that is given, after the delay. As with a real
/// transport, a request whose answer takes longer than its limits fails, kind `timedOut`. Any thread; starts
/// none.
class ScriptedTransport : public HttpTransport {
  public:
    /// None for a server that takes the request and never says a word. Called inside `send`.
    using Handler = std::function<std::optional<HttpResult>(const HttpRequest&)>;

    explicit ScriptedTransport(std::shared_ptr<Executor> executor);
    ~ScriptedTransport() override;

    std::unique_ptr<HttpExchange> send(HttpRequest request, Completion completion) override;

    /// One answer for one request, first in, first out; `delay` instead of the usual one.
    void enqueue(HttpResult result, std::optional<std::chrono::nanoseconds> delay = {});
    void enqueueStatus(int status, std::string body = {});
    void enqueueFailure(PlatformError::Kind kind, std::string_view message = "scripted failure");
    void enqueueSilence();
    void setHandler(Handler handler);
    /// Time between request and answer, zero at first. For requests that are sent from now on.
    void setDelay(std::chrono::nanoseconds delay);

    /// All requests so far, in their order.
    std::vector<HttpRequest> requests() const;
    std::size_t requestCount() const;
    /// Requests that were neither answered nor given up.
    std::size_t inFlight() const;
    /// The most that were ever in flight together.
    std::size_t mostInFlight() const;
    /// Requests whose exchange was released before the answer came.
    std::size_t cancelled() const;

  private:
    struct State;
    const std::shared_ptr<State> state_;  // exchanges hold it too, and may outlive the transport
};

}  // namespace Velmor::Testing
