#include "Recorder/SessionObserver.hpp"

#include "Runtime/Contain.hpp"

#include <atomic>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

namespace Velmor {
namespace {

// A session has one observer. Only the observer that began last may end the observation.
std::atomic<std::uint64_t> latestGeneration{0};

std::string_view orElse(std::string_view details, std::string_view text) {
    return details.empty() ? text : details;
}

void write(LogAPI& log, Pieces text) {
    log.log(LogAPI::Level::I, "notifications", text);
}

}  // namespace

SessionObserver::SessionObserver(const std::shared_ptr<const Platform>& platform,
                                 const std::shared_ptr<LogAPI>& log)
    : platform_(platform), log_(log) {}

SessionObserver::~SessionObserver() {
    end();
}

void SessionObserver::begin() {
    generation_ = ++latestGeneration;
    platform_->audio->session().observe([weak = weak_from_this(), loop = std::weak_ptr(platform_->mainLoop)](
                                            const AudioNotification& notification) {
        const auto executor = loop.lock();
        if (!executor) return;
        // A notification for which there is no memory is dropped: the recording service also notices that
        // frames stay away or come back.
        contain([&] {
            executor->post([weak, notification] {
                if (const auto self = weak.lock()) self->notified(notification);
            });
        });
    });
}

void SessionObserver::end() {
    const auto mine = std::exchange(generation_, 0);
    if (mine == 0) return;
    // Sessions are used on the main loop only, and this may run on another thread. If there is no memory for
    // the task, the session keeps an observer whose owner is gone, which does nothing.
    contain([&] {
        platform_->mainLoop->post([weak = std::weak_ptr(platform_->audio), mine] {
            const auto audio = weak.lock();
            if (audio && latestGeneration == mine) audio->session().observe({});
        });
    });
}

void SessionObserver::notified(const AudioNotification& notification) {
    const auto& details = notification.details;
    std::visit(
        [&](const auto& event) {
            using Event = std::decay_t<decltype(event)>;
            if constexpr (std::is_same_v<Event, AudioNotification::InterruptionBegan>) {
                write(*log_, {"[AVAudioSession.interruptionNotification] ", orElse(details, "began")});
            } else if constexpr (std::is_same_v<Event, AudioNotification::InterruptionEnded>) {
                write(*log_, {"[AVAudioSession.interruptionNotification] ", orElse(details, "ended")});
            } else if constexpr (std::is_same_v<Event, AudioNotification::EngineConfigurationChanged>) {
                write(*log_, {"[AVAudioEngineConfigurationChange] ", details});
            } else if constexpr (std::is_same_v<Event, AudioNotification::RouteChanged>) {
                std::string ports;
                for (const auto& port : event.previousOutputs)
                    ports.append(", previous output ").append(port);
                write(*log_, {"[route change] ", event.reason, ports});
            } else {
                write(*log_, {"[media services reset] ", details});
            }
        },
        notification.event);
    notificationSender.send(notification);
}

}  // namespace Velmor
