// The user's registration: sends joins and deletions and tells the application what came of them.
#pragma once

#include "Runtime/Channel.hpp"
#include "SessionService/SessionsService.hpp"

#include <memory>

#include <Velmor/Velmor.hpp>

namespace Velmor {

class LogAPI;

/// Releasing it ends its subscription: an answer that comes later is told to nobody.
class VelmorConfig : public std::enable_shared_from_this<VelmorConfig> {
  public:
    static std::shared_ptr<VelmorConfig> make(const std::shared_ptr<SessionsService>& service,
                                              const std::shared_ptr<VelmorConfigDelegate>& delegate,
                                              const std::shared_ptr<LogAPI>& log);

    /// Tells the delegate, and nothing is sent.
    void refuse(const VelmorError& error) { failed(error); }

    void send(const SessionsService::Request& request) { sessionService_->requestAction.send(request); }

  private:
    VelmorConfig(const std::shared_ptr<SessionsService>& service,
                 const std::shared_ptr<VelmorConfigDelegate>& delegate, const std::shared_ptr<LogAPI>& log);

    void handle(const SessionsService::State& state);
    void joined(const Config& config);
    void deleted(const Config& config);
    void failed(const VelmorError& error);
    template <class Call>
    void tell(Call call);

    Bag bag_;
    const std::shared_ptr<VelmorConfigDelegate> delegate_;
    const std::shared_ptr<SessionsService> sessionService_;
    const std::shared_ptr<LogAPI> log_;
};

}  // namespace Velmor
