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
struct APIOutcome;

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
            VelmorError error;
            std::optional<std::string> closedSessionId;
        };
        std::variant<userJoin, userDelete, create, upload, close, analysis, sessions, error> value;
    };

    static std::shared_ptr<SessionsService> make(const std::shared_ptr<const Platform>& platform,
                                                 const std::shared_ptr<LogAPI>& log);
    ~SessionsService();

    Channel<Request> requestAction;
    Channel<State> stateSender;

    /// The transport, for queries that have no state. Any thread.
    APIService& apiService() { return *apiService_; }

  private:
    SessionsService(const std::shared_ptr<const Platform>& platform, const std::shared_ptr<LogAPI>& log);

    /// A request with what is published of it when there is no memory for its real outcome.
    struct Accepted {
        Request request;
        State lost;
    };
    using AcceptedRequest = std::shared_ptr<Accepted>;

    void take(const AcceptedRequest& accepted);
    void start(const AcceptedRequest& accepted);
    void startLog(const AcceptedRequest& accepted);
    static void finish(const std::weak_ptr<SessionsService>& service, const Accepted& accepted,
                       const APIOutcome& outcome);
    void publish(const Accepted& accepted, const APIOutcome& outcome);

    const std::shared_ptr<const Platform> platform_;
    const std::shared_ptr<LogAPI> log_;
    const std::shared_ptr<APIService> apiService_;
    std::deque<AcceptedRequest> queue_;  // main loop only; the head is the one in progress
    Bag bag_;
};

/// "MELSPECTROGRAM", "AUDIO".
std::string_view rawValue(SessionsService::DataType dataType);

}  // namespace Velmor
