// The connection to the sound server: made when a microphone is first wanted, made again while a recording
// waits for its server, given up some time after the last engine.
#pragma once

#include "Platform/Linux/PulseLoop.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <Velmor/Platform/Audio.hpp>

namespace Velmor {

/// Shared by the audio system and its engines, which may outlive it. Any thread, unless said otherwise.
class PulseConnection {
  public:
    /// A stream's side of it. Called with the mutex held.
    class Client {
      public:
        virtual ~Client() = default;
        /// Has lost its stream and waits for another.
        virtual bool isLost() const = 0;
        /// Tries to get one; the connection is ready.
        virtual void reopen() = 0;
    };

    /// `library` is the file name of libpulse.
    PulseConnection(const std::shared_ptr<const Clock>& clock, std::string library);
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;
    ~PulseConnection();

    RecordPermission permission();
    /// Answers once, when the server has; `false` when it refuses this user.
    void ask(std::function<void(bool)> answer);
    void observe(AudioSession::Observer observer);
    /// Connects unless connected, which takes a moment at most. Throws PlatformError.
    void require();

    PulseLoop& loop() { return *loop_; }

    // with the loop's mutex held:

    void add(Client& client) { clients_.push_back(&client); }
    void remove(Client& client);
    bool isReady() const { return state_ == State::ready; }
    /// False from the moment the server is gone, also before that was acted upon.
    bool isAlive() const;
    const PulseApi& pulse() const { return *pulse_; }
    pa_context* context() const { return context_; }
    /// What the server said last, as an error that names `what`.
    PlatformError failure(const std::string& what) const;
    PlatformError lastFailure() const;
    void notify(AudioNotification notification);
    /// Somebody has a stream again.
    void recovered() { attempts_ = 0; }
    /// Somebody lost a stream, or could not get it back.
    void retryLater();

  private:
    enum class State { none, connecting, ready };

    bool prepare();
    void connect();
    void disconnect();
    void disconnectIfUnused();
    void stateChanged();
    void becameReady();
    void failed(const PlatformError& error);
    void answer(bool granted);
    void retry();
    bool anyLost() const;
    void reopenLost();

    const std::shared_ptr<const Clock> clock_;
    const std::string library_;
    const std::shared_ptr<PulseLoop> loop_;

    // guarded by the loop's mutex:
    std::shared_ptr<const PulseApi> pulse_;
    pa_context* context_ = nullptr;  // none in State::none
    State state_ = State::none;
    std::uint64_t connections_ = 0;  // tells a late timer that its connection is gone
    std::optional<PlatformError> failure_;
    std::vector<std::function<void(bool)>> answers_;
    AudioSession::Observer observer_;
    std::vector<Client*> clients_;
    int attempts_ = 0;
    bool retrying_ = false;
};

}  // namespace Velmor
