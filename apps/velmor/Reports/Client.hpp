// The library set up for questions to the service, without recording.
#pragma once

#include "Commands.hpp"
#include "Interrupt.hpp"
#include "Runtime/ThreadSafety.hpp"
#include "Service/Peer.hpp"

#include <memory>
#include <optional>

#include <Velmor/Velmor.hpp>

namespace VelmorApp {

class Client {
  public:
    Client(const SharedOptions& shared, Screen& screen);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    const Velmor::Config& config() const { return *config_; }
    Velmor::Reports& reports() const { return *reports_; }
    const Velmor::Url& service() const { return peer_.url(); }

  private:
    const Peer peer_;
    std::optional<Velmor::Config> config_;
    std::shared_ptr<Velmor::Reports> reports_;
};

/// Waits for the outcome; none when Ctrl-C came first.
template <class T>
std::optional<typename Velmor::Async<T>::Outcome> outcomeOf(const Velmor::Async<T>& query) {
    struct Waiting {
        Velmor::Mutex mutex;
        Velmor::Condition told;
        std::optional<typename Velmor::Async<T>::Outcome> outcome VELMOR_GUARDED_BY(mutex);
    };
    const auto waiting = std::make_shared<Waiting>();
    query.then([waiting](const typename Velmor::Async<T>::Outcome& outcome) {
        {
            const Velmor::Lock lock(waiting->mutex);
            waiting->outcome = outcome;
        }
        waiting->told.notifyAll();
    });
    Velmor::Lock lock(waiting->mutex);
    while (!waiting->outcome && !interruptRequested())
        waiting->told.waitFor(lock, std::chrono::milliseconds(50));
    return waiting->outcome;
}

}  // namespace VelmorApp
