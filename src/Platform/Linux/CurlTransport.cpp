#include "Platform/Linux/CurlTransport.hpp"

#include "Platform/Linux/CurlWorker.hpp"
#include "Platform/Linux/SignalsBlocked.hpp"
#include "Platform/ThisThread.hpp"
#include "Runtime/OwnThread.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <system_error>
#include <thread>
#include <utility>

namespace Velmor {
namespace {

class CurlExchange : public HttpExchange {
  public:
    CurlExchange(std::shared_ptr<CurlTicket> ticket, std::weak_ptr<CurlWorker> worker)
        : ticket_(std::move(ticket)), worker_(std::move(worker)) {}
    CurlExchange(const CurlExchange&) = delete;
    CurlExchange& operator=(const CurlExchange&) = delete;
    ~CurlExchange() override {
        if (!ticket_->giveUp()) return;
        if (const auto worker = worker_.lock()) worker->wake();
    }

  private:
    const std::shared_ptr<CurlTicket> ticket_;
    const std::weak_ptr<CurlWorker> worker_;
};

class CurlTransport : public HttpTransport {
  public:
    CurlTransport(HttpOptions options, std::string library)
        : worker_(std::make_shared<CurlWorker>(std::move(options), std::move(library))) {}
    CurlTransport(const CurlTransport&) = delete;
    CurlTransport& operator=(const CurlTransport&) = delete;

    ~CurlTransport() override {
        worker_->stop();
        joinOrDetach(thread_);  // the thread holds the worker
    }

    std::unique_ptr<HttpExchange> send(HttpRequest request, Completion completion) override {
        startOnce();
        auto ticket = std::make_shared<CurlTicket>(std::move(request), std::move(completion));
        auto exchange = std::make_unique<CurlExchange>(ticket, worker_);
        worker_->submit(std::move(ticket));
        return exchange;
    }

  private:
    void startOnce() {
        const Lock lock(mutex_);
        if (thread_.joinable()) return;
        const SignalsBlocked blocked;
        try {
            thread_ = std::thread([worker = worker_] {
                isOwnThread = true;
                nameThisThread("velmor-http");
                worker->run();
            });
        } catch (const std::system_error& error) {
            throw PlatformError(PlatformError::Kind::cannotConnect, error.what(), error.code().value());
        }
    }

    const std::shared_ptr<CurlWorker> worker_;
    Mutex mutex_;
    std::thread thread_ VELMOR_GUARDED_BY(mutex_);
};

}  // namespace

std::shared_ptr<HttpTransport> makeCurlTransport(HttpOptions options, std::string library) {
    return std::make_shared<CurlTransport>(std::move(options), std::move(library));
}

std::shared_ptr<HttpTransport> makeHttpTransport(HttpOptions options) {
    return makeCurlTransport(std::move(options), CurlApi::kLibrary);
}

}  // namespace Velmor
