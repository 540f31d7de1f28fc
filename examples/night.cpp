// The smallest useful host: tracks a night until Enter is pressed, then prints what came of it.
//   night API_KEY [BASE_URL]      for instance: night my-key http://127.0.0.1:8080
#include <cstdio>
#include <future>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <Velmor/Velmor.hpp>

namespace {

using Velmor::TrackingOutcome;

struct Registration : Velmor::VelmorConfigDelegate {
    void userDidJoin(const std::string& userId, const Velmor::Config& config) override {
        std::cout << "user " << userId << '\n';
        joined.set_value(config);
    }
    void didFailUserJoin(const Velmor::VelmorError& error) override {
        joined.set_exception(std::make_exception_ptr(error));
    }

    std::promise<Velmor::Config> joined;
};

struct Night : Velmor::VelmorSleepTrackingManagerDelegate {
    void didCreate() override { std::cout << "tracking; Enter stops" << std::endl; }
    void didUpload(std::int64_t sequence) override { std::cout << "chunk " << sequence << std::endl; }
    void didClose(const std::string& sessionId) override { std::cout << "closed " << sessionId << '\n'; }
    void didFail(const Velmor::VelmorError& error) override { std::cerr << error.description() << '\n'; }
    void didInterrupt() override { std::cout << "interrupted" << std::endl; }
    void didResume() override { std::cout << "resumed" << std::endl; }
    void trackingEnded(const TrackingOutcome& outcome) override { ended.set_value(outcome); }

    std::promise<TrackingOutcome> ended;  // one night, one final word
};

std::string inWords(TrackingOutcome::Kind kind) {
    switch (kind) {
        case TrackingOutcome::Kind::closed:
            return "the night is at the service";
        case TrackingOutcome::Kind::notClosed:
            return "the session could not be closed";
        case TrackingOutcome::Kind::sessionGone:
            return "the service gave the session up";
        case TrackingOutcome::Kind::notCreated:
            return "the service opened no session";
        case TrackingOutcome::Kind::notRecording:
            return "no microphone could be recorded";
        case TrackingOutcome::Kind::permissionDenied:
            return "the microphone may not be used";
        case TrackingOutcome::Kind::stopped:
            return "stopped before the session was open";
        case TrackingOutcome::Kind::abandoned:
            return "the night was abandoned";
    }
    return "";
}

Velmor::Config registerUser(const std::string& apiKey, const std::optional<Velmor::Url>& service) {
    const auto registration = std::make_shared<Registration>();
    Velmor::initVelmorConfig(apiKey, {}, service, {}, {}, registration);
    return registration->joined.get_future().get();
}

TrackingOutcome trackUntilEnter(const Velmor::Config& config) {
    const auto night = std::make_shared<Night>();
    const auto manager = Velmor::createSleepTrackingManager(config, night);
    manager->startTracking();
    // On a thread of its own: the night may end without the user.
    std::thread([manager] {
        if (std::string line; std::getline(std::cin, line)) manager->stopTracking();
    }).detach();
    return night->ended.get_future().get();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return std::fprintf(stderr, "usage: night API_KEY [BASE_URL]\n"), 2;
    try {
        std::optional<Velmor::Url> service;                   // the production service unless one is named
        if (argc > 2) service = Velmor::Url::parse(argv[2]);  // throws when it is no URL
        const auto config = registerUser(argv[1], service);
        const auto outcome = trackUntilEnter(config);
        std::cout << inWords(outcome.kind) << std::endl;
        if (outcome.kind != TrackingOutcome::Kind::closed) return 1;
        std::cout << Velmor::createReports(config)->report(*outcome.sessionId).get().description() << '\n';
    } catch (const std::exception& error) {
        return std::fprintf(stderr, "%s\n", error.what()), 1;
    }
}
