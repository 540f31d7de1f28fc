// The smallest useful host: tracks a night until Enter is pressed, then prints what came of it.
//   night API_KEY [BASE_URL]
#include <cstdio>
#include <future>
#include <iostream>
#include <memory>
#include <string>

#include <Velmor/Velmor.hpp>

namespace {

struct Registration : Velmor::VelmorConfigDelegate {
    void userDidJoin(const std::string& userId, const Velmor::Config& config) override {
        std::cout << "user " << userId << '\n';
        joined.set_value(config);
    }
    void didFailUserJoin(const Velmor::VelmorError& error) override {
        joined.set_exception(std::make_exception_ptr(error));
    }
    void userDidDelete(const std::string&) override {}

    std::promise<Velmor::Config> joined;
};

struct Night : Velmor::VelmorSleepTrackingManagerDelegate {
    void didCreate() override { std::cout << "tracking; Enter stops\n"; }
    void didUpload(std::int64_t sequence) override { std::cout << "chunk " << sequence << '\n'; }
    void didClose(const std::string& sessionId) override { closed.set_value(sessionId); }
    void didFail(const Velmor::VelmorError& error) override { std::cerr << error.description() << '\n'; }
    void didInterrupt() override { std::cout << "interrupted\n"; }
    void didResume() override { std::cout << "resumed\n"; }
    void micPermissionWasDenied() override { std::cerr << "no permission for the microphone\n"; }
    void analysing(const Velmor::Model::Session&) override {}

    std::promise<std::string> closed;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return std::fprintf(stderr, "usage: night API_KEY [BASE_URL]\n"), 2;
    try {
        const auto registration = std::make_shared<Registration>();
        Velmor::initVelmorConfig(argv[1], {},
                                 argc > 2 ? std::optional(Velmor::Url::parse(argv[2])) : std::nullopt, {}, {},
                                 registration);
        const auto config = registration->joined.get_future().get();

        const auto night = std::make_shared<Night>();
        const auto manager = Velmor::createSleepTrackingManager(config, night);
        manager->startTracking();
        std::cin.get();
        manager->stopTracking();

        const auto id = night->closed.get_future().get();
        std::cout << Velmor::createReports(config)->report(id).get().description() << '\n';
    } catch (const std::exception& error) {
        return std::fprintf(stderr, "%s\n", error.what()), 1;
    }
}
