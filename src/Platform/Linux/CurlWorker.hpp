// The thread's side of the transport: a libcurl multi handle and the requests in it.
#pragma once

#include "Platform/Linux/CurlApi.hpp"
#include "Platform/Linux/CurlTransfer.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <Velmor/Platform/Http.hpp>

namespace Velmor {

/// What the owner of a request and the thread share: whoever takes the completion first decides how it ends.
class CurlTicket {
  public:
    CurlTicket(HttpRequest request, HttpTransport::Completion completion);

    /// Any thread. True when the request was still open.
    bool giveUp();
    bool isOver() const { return over_.load(std::memory_order_acquire); }
    /// Calls the completion unless it was given up.
    void tell(HttpResult result);

    HttpRequest request;  // the thread's, once submitted
    const CurlTransfer::Instant sentAt = std::chrono::steady_clock::now();

  private:
    HttpTransport::Completion take();

    Mutex mutex_;
    HttpTransport::Completion completion_ VELMOR_GUARDED_BY(mutex_);
    std::atomic<bool> over_{false};
};

class CurlWorker {
  public:
    CurlWorker(HttpOptions options, std::string library);
    CurlWorker(const CurlWorker&) = delete;
    CurlWorker& operator=(const CurlWorker&) = delete;
    ~CurlWorker() = default;

    /// Any thread; never blocks for longer than it takes to hand over.
    void submit(std::shared_ptr<CurlTicket> ticket);
    /// Any thread: has the thread look again at what was submitted and given up.
    void wake();
    /// Any thread: has `run` return soon. Requests that are open then are never answered.
    void stop();
    /// The body of the thread. Begins with loading libcurl.
    void run();

  private:
    struct Flight {
        std::shared_ptr<CurlTicket> ticket;
        std::unique_ptr<CurlTransfer> transfer;
    };
    using Instant = CurlTransfer::Instant;

    bool load();
    void loadOnce();
    bool turn();
    bool takeSubmitted(std::vector<std::shared_ptr<CurlTicket>>& into);
    void begin(std::shared_ptr<CurlTicket> ticket);
    std::optional<PlatformError> start(Flight& flight);
    void dropGivenUp();
    void endFinished();
    void endLate();
    void end(CURL* easy, CURLcode code);
    void wait();

    const HttpOptions options_;
    const std::string library_;
    Condition changed_;  // until libcurl is there to wait with
    Mutex mutex_;        // never held while libcurl works or a completion runs
    std::vector<std::shared_ptr<CurlTicket>> submitted_ VELMOR_GUARDED_BY(mutex_);
    bool stopped_ VELMOR_GUARDED_BY(mutex_) = false;
    /// For waking; null before and after the thread uses it.
    CURLM* multi_ VELMOR_GUARDED_BY(mutex_) = nullptr;

    CurlApi curl_;  // set before multi_; all below belong to the thread
    CurlTransfer::Connections connections_;
    CURLM* own_ = nullptr;         // the same handle
    std::vector<Flight> flights_;  // destroyed before the multi handle, by `run`
};

}  // namespace Velmor
