#include "VelmorConfig.hpp"

#include "Log/LogAPI.hpp"
#include "Runtime/Contain.hpp"
#include "Runtime/Text.hpp"

#include <utility>
#include <variant>

namespace Velmor {

std::shared_ptr<VelmorConfig> VelmorConfig::make(const std::shared_ptr<SessionsService>& service,
                                                 const std::shared_ptr<VelmorConfigDelegate>& delegate,
                                                 const std::shared_ptr<LogAPI>& log) {
    std::shared_ptr<VelmorConfig> made(new VelmorConfig(service, delegate, log));
    made->bag_.add(made->sessionService_->stateSender.subscribe(
        [weak = std::weak_ptr(made)](const SessionsService::State& state) {
            if (const auto self = weak.lock()) self->handle(state);
        }));
    return made;
}

VelmorConfig::VelmorConfig(const std::shared_ptr<SessionsService>& service,
                           const std::shared_ptr<VelmorConfigDelegate>& delegate,
                           const std::shared_ptr<LogAPI>& log)
    : delegate_(delegate), sessionService_(service), log_(log) {}

void VelmorConfig::handle(const SessionsService::State& state) {
    using State = SessionsService::State;
    if (const auto* join = std::get_if<State::userJoin>(&state.value))
        joined(join->config);
    else if (const auto* gone = std::get_if<State::userDelete>(&state.value))
        deleted(gone->config);
    else if (const auto* failure = std::get_if<State::error>(&state.value))
        failed(failure->error);
}

void VelmorConfig::joined(const Config& config) {
    log_->log(LogAPI::Level::I, "init", {"[RESP] userId ", config.userId()});
    tell([&](VelmorConfigDelegate& delegate) { delegate.userDidJoin(config.userId(), config); });
}

void VelmorConfig::deleted(const Config& config) {
    log_->log(LogAPI::Level::I, "init", {"[RESP] delete userId ", config.userId()});
    tell([&](VelmorConfigDelegate& delegate) { delegate.userDidDelete(config.userId()); });
}

void VelmorConfig::failed(const VelmorError& error) {
    log_->log(LogAPI::Level::E, "init", {"Failed to user ", firstCharacters(error.description(), 200)});
    tell([&](VelmorConfigDelegate& delegate) { delegate.didFailUserJoin(error); });
}

template <class Call>
void VelmorConfig::tell(Call call) {
    if (!delegate_) return;
    contain([&] { call(*delegate_); },
            [&](const std::string& reason) {
                log_->log(LogAPI::Level::E, "init", {"delegate: ", reason});
            });
}

}  // namespace Velmor
