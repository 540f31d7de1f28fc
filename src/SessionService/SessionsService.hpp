// Turns requests of the library into calls of the user and session API and publishes what came of them.
#pragma once

#include "Runtime/Channel.hpp"

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <Velmor/Config.hpp>
#include <Velmor/Error.hpp>
#include <Velmor/Model.hpp>
#include <Velmor/Platform.hpp>

namespace Velmor {

class LogAPI;
class APIService;
struct AcceptedRequest;

/// Create, upload and close go out one at a time in the order of their arrival; all other requests at once.
/// Requests may be sent from any thread and are taken in on the main loop, in order; states are published
/// there. Releasing the service gives up what is under way; nothing is published afterwards.
class SessionsService : public std::enable_shared_from_this<SessionsService> {
  public:
    enum class DataType { mel, audio };

    struct Request {
        struct userJoin {
            std::optional<std::string> userId;
            Config config;
        };
        struct userDelete {
            Config config;
        };
        struct create {
            Config config;
            WallTime date;
            DataType dataType;
        };
        struct mel {
            Config config;
            std::string sessionId;
            WallTime date;
            std::string data;  ///< bytes of the .npy file
            std::int64_t sequence;
        };
        struct close {
            Config config;
            std::string sessionId;
            WallTime date;
            bool unexpected;
            std::optional<bool> invalid;
        };
        struct analysis {
            Config config;
            std::string sessionId;
        };
        struct log {
            std::optional<Config> config;
            std::optional<std::string> sessionId;
            std::string message;
        };
        std::variant<userJoin, userDelete, create, mel, close, analysis, log> value;
    };

    struct State {
        struct userJoin {
            Config config;
        };
        struct userDelete {
            Config config;
        };
        struct create {
            std::string sessionId;
        };
        struct upload {
            std::string sessionId;
            std::int64_t sequence;
        };
        struct close {
            std::string sessionId;
        };
        struct analysis {
            Model::Report report;
        };
        struct sessions {
            std::vector<Model::SleepSession> sessions;
        };
        struct error {
            enum class Kind { create, close, other };
            VelmorError error;
            std::optional<std::string> closedSessionId;
            Kind kind;  ///< of the request that failed
        };
        std::variant<userJoin, userDelete, create, upload, close, analysis, sessions, error> value;
    };

    static std::shared_ptr<SessionsService> make(const std::shared_ptr<const Platform>& platform,
                                                 const std::shared_ptr<LogAPI>& log);
    ~SessionsService();

    Channel<Request> requestAction;
    Channel<State> stateSender;

  private:
    SessionsService(const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log);

    using Accepted = std::shared_ptr<AcceptedRequest>;

    void take(const Accepted& accepted);
    void start(const Accepted& accepted);
    void startLog(const Accepted& accepted);
    static void finish(const std::weak_ptr<SessionsService>& service, const AcceptedRequest& accepted,
                       const State& state);
    void publish(const State& state);

    const std::shared_ptr<const Platform> platform_;
    const std::shared_ptr<LogAPI> log_;
    const std::shared_ptr<APIService> apiService_;
    std::deque<Accepted> queue_;  // main loop only; the head is the one in progress
    Bag bag_;
};

/// A request with what is published of it when there is no memory for its real outcome.
struct AcceptedRequest {
    SessionsService::Request request;
    SessionsService::State lost;
};

/// "MELSPECTROGRAM", "AUDIO".
std::string_view rawValue(SessionsService::DataType dataType);

}  // namespace Velmor
