#include "Platform/Linux/PulseConnection.hpp"

#include "Runtime/Text.hpp"

#include <algorithm>
#include <utility>

namespace Velmor {
namespace {

using namespace std::chrono_literals;

constexpr auto kHandshake = 5s;      // for a server that takes the connection and then says nothing
constexpr auto kPatience = 1s;       // of the main loop, for a server on the same machine
constexpr auto kFirstRetry = 250ms;  // doubled each time
constexpr auto kLongestRetry = 2s;
constexpr auto kLinger = 5s;

}  // namespace

PulseConnection::PulseConnection(const std::shared_ptr<const Clock>& clock, std::string library)
    : clock_(clock), library_(std::move(library)), loop_(std::make_shared<PulseLoop>(clock_)) {}

PulseConnection::~PulseConnection() {
    {
        const Lock locked(loop_->mutex());
        disconnect();
    }
    loop_->end();
}

RecordPermission PulseConnection::permission() {
    const Lock locked(loop_->mutex());
    return isReady() ? RecordPermission::granted : RecordPermission::undetermined;
}

void PulseConnection::ask(std::function<void(bool)> answer) {
    {
        const Lock locked(loop_->mutex());
        if (!isReady() && prepare()) {
            answers_.push_back(std::move(answer));
            connect();
            return;
        }
    }
    answer(true);  // a machine without a sound server fails for that reason, when it is to record
}

void PulseConnection::observe(AudioSession::Observer observer) {
    const Lock locked(loop_->mutex());
    observer_.swap(observer);
}

void PulseConnection::require() {
    Lock locked(loop_->mutex());
    if (!isReady() && prepare()) {
        connect();
        loop_->waitFor(locked, kPatience, [this] { return state_ != State::connecting; });
    }
    if (isReady()) return;
    throw PlatformError(state_ == State::none ? lastFailure()
                                              : PlatformError(PlatformError::Kind::audioUnavailable,
                                                              "the sound server does not answer"));
}

// Loads the library and starts the thread.
bool PulseConnection::prepare() {
    try {
        if (!pulse_) pulse_ = PulseApi::load(library_);
        loop_->start(pulse_);
        return true;
    } catch (const PlatformError& error) {
        failure_ = error;
        return false;
    }
}

void PulseConnection::connect() {
    if (context_ != nullptr) return;
    context_ = pulse_->context_new(loop_->api(), "VelmorSDK");
    if (context_ == nullptr) {
        failed(failure("no connection to the sound server"));
        return;
    }
    state_ = State::connecting;
    pulse_->context_set_state_callback(
        context_, [](pa_context*, void* self) { static_cast<PulseConnection*>(self)->stateChanged(); }, this);
    loop_->after(kHandshake, [this, mine = ++connections_] {
        if (mine == connections_ && state_ == State::connecting)
            failed({PlatformError::Kind::audioUnavailable, "the sound server does not answer"});
    });
    // Starting a server is for the session of the user to decide, not for a library.
    const bool begun = pulse_->context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0;
    if (!begun && context_ != nullptr) failed(failure("no connection to the sound server"));
}

void PulseConnection::disconnect() {
    state_ = State::none;
    auto* const context = std::exchange(context_, nullptr);
    if (context == nullptr) return;
    pulse_->context_set_state_callback(context, nullptr, nullptr);
    pulse_->context_disconnect(context);
    pulse_->context_unref(context);
}

void PulseConnection::remove(Client& client) {
    std::erase(clients_, &client);
    disconnectIfUnused();
}

void PulseConnection::disconnectIfUnused() {
    if (context_ == nullptr || !clients_.empty()) return;
    loop_->after(kLinger, [this, mine = connections_] {
        if (mine == connections_ && clients_.empty() && answers_.empty()) disconnect();
    });
}

void PulseConnection::stateChanged() {
    const auto state = pulse_->context_get_state(context_);
    if (state == PA_CONTEXT_READY)
        becameReady();
    else if (!PA_CONTEXT_IS_GOOD(state))
        failed(failure(state_ == State::ready ? "the sound server is gone"
                                              : "no connection to the sound server"));
}

void PulseConnection::becameReady() {
    state_ = State::ready;
    failure_.reset();
    answer(true);
    reopenLost();
    disconnectIfUnused();
}

void PulseConnection::failed(const PlatformError& error) {
    failure_ = error;
    disconnect();
    answer(error.code() != PA_ERR_ACCESS);
    retryLater();
}

void PulseConnection::answer(bool granted) {
    for (auto& waiting : std::exchange(answers_, {}))
        loop_->tell([waiting = std::move(waiting), granted] { waiting(granted); });
}

bool PulseConnection::isAlive() const {
    return context_ != nullptr && PA_CONTEXT_IS_GOOD(pulse_->context_get_state(context_));
}

PlatformError PulseConnection::failure(const std::string& what) const {
    const int code = context_ != nullptr ? pulse_->context_errno(context_) : int{PA_ERR_INTERNAL};
    return {PlatformError::Kind::audioUnavailable, joined({what, ": ", pulse_->strerror(code)}), code};
}

PlatformError PulseConnection::lastFailure() const {
    return failure_.value_or(PlatformError(PlatformError::Kind::audioUnavailable, "no sound server"));
}

void PulseConnection::notify(AudioNotification notification) {
    loop_->tell([this, notification = std::move(notification)] {
        AudioSession::Observer observer;
        {
            const Lock locked(loop_->mutex());
            observer = observer_;
        }
        if (observer) observer(notification);
    });
}

void PulseConnection::retryLater() {
    if (retrying_ || !anyLost()) return;
    retrying_ = true;
    const auto delay =
        std::min<std::chrono::nanoseconds>(kFirstRetry * (1 << std::min(attempts_, 3)), kLongestRetry);
    ++attempts_;
    loop_->after(delay, [this] { retry(); });
}

void PulseConnection::retry() {
    retrying_ = false;
    if (!anyLost()) return;
    if (isReady())
        reopenLost();
    else
        connect();
}

bool PulseConnection::anyLost() const {
    return std::ranges::any_of(clients_, [](const Client* client) { return client->isLost(); });
}

void PulseConnection::reopenLost() {
    for (Client* client : clients_)
        if (client->isLost()) client->reopen();
}

}  // namespace Velmor
