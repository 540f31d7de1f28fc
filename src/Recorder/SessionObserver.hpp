// Observes the audio session for one recording service.
#pragma once

#include "Log/LogAPI.hpp"
#include "Runtime/Channel.hpp"

#include <cstdint>
#include <memory>

#include <Velmor/Platform.hpp>

namespace Velmor {

/// Operations are called on the main loop; the last reference may drop anywhere. Each notification is logged
/// and then sent on, on the main loop.
class SessionObserver : public std::enable_shared_from_this<SessionObserver> {
  public:
    SessionObserver(const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log);
    ~SessionObserver();
    SessionObserver(const SessionObserver&) = delete;
    SessionObserver& operator=(const SessionObserver&) = delete;

    void begin();
    void end();

    Channel<AudioNotification> notificationSender;

  private:
    void notified(const AudioNotification& notification);

    const std::shared_ptr<const Platform> platform_;
    const std::shared_ptr<LogAPI> log_;
    std::uint64_t generation_ = 0;  // of the observation under way; 0: none
};

}  // namespace Velmor
