// A sessions service among doubles, with its states as lines of text.
#pragma once

#include "../APIService/Scene.hpp"
#include "SessionService/SessionsService.hpp"

#include <string>
#include <vector>

namespace Velmor {

using Request = SessionsService::Request;
using State = SessionsService::State;

inline std::string text(const State::userJoin& state) {
    return "userJoin " + state.config.userId();
}
inline std::string text(const State::userDelete& state) {
    return "userDelete " + state.config.userId();
}
inline std::string text(const State::create& state) {
    return "create " + state.sessionId;
}
inline std::string text(const State::upload& state) {
    return "upload " + state.sessionId + " " + std::to_string(state.sequence);
}
inline std::string text(const State::close& state) {
    return "close " + state.sessionId;
}
inline std::string text(const State::analysis& state) {
    return "analysis " + state.report.session.id;
}
inline std::string text(const State::sessions&) {
    return "sessions";
}
inline std::string text(const State::error& state) {
    const auto closed = state.closedSessionId ? " closed " + *state.closedSessionId : "";
    return "error " + state.error.description() + closed;
}

class SessionScene : public Scene {
  protected:
    SessionScene() {
        bag.add(service->stateSender.subscribe([this](const State& state) {
            states.push_back(std::visit([](const auto& kind) { return text(kind); }, state.value));
            if (observer) observer();
        }));
    }

    void send(decltype(Request::value) request) { service->requestAction.send({std::move(request)}); }
    Request::create create() const { return {config(), start, SessionsService::DataType::mel}; }
    Request::mel mel(std::int64_t sequence, std::string sessionId = "s1") const {
        return {config(), std::move(sessionId), start, "bytes", sequence};
    }
    Request::close close(std::string sessionId = "s1") const {
        return {config(), std::move(sessionId), start, false, true};
    }

    /// Method and path of every request so far.
    std::vector<std::string> sent() const {
        std::vector<std::string> out;
        for (const auto& request : http->requests())
            out.push_back(request.method + " " +
                          request.url.absoluteString().substr(std::string("https://api.test/base/").size()));
        return out;
    }

    const WallTime start{std::chrono::milliseconds(1'709'680'204'512)};  // 2024-03-05T23:10:04.512Z
    std::shared_ptr<SessionsService> service = SessionsService::make(platform, log);
    std::function<void()> observer;
    std::vector<std::string> states;
    Bag bag;
};

}  // namespace Velmor
