// A transport that knows what is under way, so that virtual time can wait for real answers.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>

#include <Velmor/Platform/Executor.hpp>
#include <Velmor/Platform/Http.hpp>

namespace VelmorApp {

class Meter : public Velmor::HttpTransport {
  public:
    /// Completions are handed to `deliver` when it is given, before the request counts as ended.
    Meter(std::shared_ptr<Velmor::HttpTransport> transport, std::shared_ptr<Velmor::Executor> deliver);

    std::unique_ptr<Velmor::HttpExchange> send(Velmor::HttpRequest request, Completion completion) override;

    /// Requests that have neither an answer nor been given up. Any thread.
    std::size_t underWay() const { return *underWay_; }

  private:
    const std::shared_ptr<Velmor::HttpTransport> transport_;
    const std::shared_ptr<Velmor::Executor> deliver_;
    const std::shared_ptr<std::atomic<std::size_t>> underWay_ = std::make_shared<std::atomic<std::size_t>>(0);
};

}  // namespace VelmorApp
