// A sessions service among doubles, with its states as lines of text.
#pragma once

#include "../APIService/Scene.hpp"
#include "../ErrorOf.hpp"
#include "SessionService/SessionsService.hpp"

#include <string>
#include <vector>

namespace Velmor {

using Request = SessionsService::Request;
using State = SessionsService::State;

struct InWords {
    std::string operator()(const State::userJoin& state) const { return "userJoin " + state.config.userId(); }
    std::string operator()(const State::userDelete& state) const {
        return "userDelete " + state.config.userId();
    }
    std::string operator()(const State::create& state) const { return "create " + state.sessionId; }
    std::string operator()(const State::upload& state) const {
        return "upload " + state.sessionId + " " + std::to_string(state.sequence);
    }
    std::string operator()(const State::close& state) const { return "close " + state.sessionId; }
    std::string operator()(const State::analysis& state) const {
        return "analysis " + state.report.session.id;
    }
    std::string operator()(const State::sessions&) const { return "sessions"; }
    std::string operator()(const State::error& state) const {
        const auto closed = state.closedSessionId ? " closed " + *state.closedSessionId : "";
        return "error " + state.error.description() + closed + causeOf(state.error);
    }

    /// What a failed start or close keeps beside its description.
    static std::string causeOf(const VelmorError& error) {
        const auto* start = error.as<VelmorError::startTrackingNetworkFail>();
        const auto* stop = error.as<VelmorError::stopTrackingNetworkFail>();
        const auto cause = start ? start->cause : stop ? stop->cause : nullptr;
        if (!cause) return "";
        return " because of " + VelmorTests::errorOf([&] { std::rethrow_exception(cause); });
    }
};

class SessionScene : public Scene {
  protected:
    SessionScene() {
        bag.add(service->stateSender.subscribe([this](const State& state) {
            states.push_back(std::visit(InWords(), state.value));
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

    const WallTime start{std::chrono::milliseconds(1'709'680'204'512)};  // 2024-03-05T23:10:04.512Z
    std::shared_ptr<SessionsService> service = SessionsService::make(platform, log);
    std::function<void()> observer;
    std::vector<std::string> states;
    Bag bag;
};

}  // namespace Velmor
