#include "Client.hpp"

#include <algorithm>
#include <gmock/gmock.h>
#include <thread>

namespace Velmor::Faults {
namespace {

using namespace std::chrono_literals;
using Request = SessionsService::Request;
using State = SessionsService::State;

std::string text(const State& state) {
    if (const auto* error = std::get_if<State::error>(&state.value)) return Faults::text(error->error);
    if (const auto* upload = std::get_if<State::upload>(&state.value))
        return "upload " + std::to_string(upload->sequence);
    return "user " + std::get<State::userJoin>(state.value).config.userId();
}

}  // namespace

class Client::Hasty : public HttpTransport {
  public:
    explicit Hasty(const HttpOptions& options) : inner_(makeHttpTransport(options)) {}
    std::unique_ptr<HttpExchange> send(HttpRequest request, Completion completion) override {
        request.idleLimit /= kHaste;
        request.totalLimit /= kHaste;
        return inner_->send(std::move(request), std::move(completion));
    }

  private:
    const std::shared_ptr<HttpTransport> inner_;
};

Client::Client(const HttpOptions& given) : options(given) {
    platform->http = std::make_shared<Hasty>(options);
    log = std::make_shared<LogAPI>(platform);
    service = SessionsService::make(platform, log);
    bag.add(service->stateSender.subscribe([this](const State& state) {
        if (states.empty()) firstState = Clock::now();
        states.push_back(text(state));
    }));
    log->setShip([this](const LogAPI::Shipment& shipment) {
        service->requestAction.send({Request::log{shipment.config, shipment.sessionId, shipment.message}});
    });
}

template <class Done>
void Client::runUntil(Done done) {
    for (const auto end = Clock::now() + 40s; !done() && Clock::now() < end; executor->runUntilIdle())
        executor->waitForWork(5ms);
}

void Client::check(const Row& row, const std::string& url) {
    SCOPED_TRACE(row.name);
    const auto bad = config(url.empty() ? server.url() : url);
    const auto before = server.connections();
    const auto began = Clock::now();
    states.clear();
    if (url.empty()) server.enqueue({row.steps, row.reads});
    if (row.upload > 0)
        service->requestAction.send({Request::mel{bad, "s", WallTime{}, std::string(row.upload, 'x'), 1}});
    else
        service->requestAction.send({Request::userJoin{"u1", bad}});
    runUntil([&] { return row.upload > 0 || !states.empty(); });
    service->requestAction.send({Request::mel{config(server.url()), "s", WallTime{}, "bytes", 2}});
    runUntil([&] { return states.size() == 2; });
    EXPECT_THAT(states, testing::ElementsAre(row.then, "upload 2"));
    EXPECT_EQ(server.connections() - before, url.empty() ? 2U : 1U) << "one attempt each";
    checkTime(row, firstState - began);
    if (kHaste > 1) ship(row, bad.baseUrl().absoluteString());
    if (row.then[0] == 't') leave(row, bad.baseUrl().absoluteString());
    EXPECT_EQ(stranger.connections(), 0U);
}

void Client::checkTime(const Row& row, Clock::duration took) const {
    const std::string_view then = row.then;
    const bool late = then.starts_with("timedOut");
    const auto limit = !late ? 0ms : (then.ends_with("total") ? 30'000ms : 15'000ms) / kHaste;
    EXPECT_GE(took, limit - 5ms);
    // Which limit it was the state tells. A busy machine takes its time, and silence begins when the sockets
    // are full.
    EXPECT_LT(took, limit + (row.upload > 5 ? 3s : 1s));
}

void Client::ship(const Row& row, const std::string& url) {
    const auto before = server.connections();
    const bool ours = url == server.url();
    files->put(files->documentsDirectory() + LogAPI::kLogFileName, "a line\n");
    platform->logUrl = Url::parse(url);
    if (ours) server.enqueue({row.steps, row.reads});
    log->uploadLog(config(url), "s");
    runUntil([&] { return files->paths().empty(); });
    EXPECT_THAT(files->paths(), testing::IsEmpty());
    EXPECT_EQ(states.size(), 2U) << "the host hears nothing of it";
    EXPECT_EQ(server.connections() - before, ours ? 1U : 0U);
}

// Whoever gives up on a silent peer need not wait for it, not for a tenth of what the peer is granted. How
// fast it is on a quiet machine the sweep of rounds tells.
void Client::leave(const Row& row, const std::string& url) {
    if (url == server.url()) server.enqueue({row.steps, row.reads});
    const HttpRequest request{"GET", Url::parse(url), {}, {}};
    auto transport = makeHttpTransport(options);
    auto exchange = transport->send(request, [](const HttpResult&) { FAIL(); });
    // By then it waits for the peer, or still reads the system's roots: either is ended.
    std::this_thread::sleep_for(200ms);
    const auto began = Clock::now();
    exchange.reset();
    transport.reset();
    EXPECT_LT(Clock::now() - began, request.idleLimit / 10);
}

std::string text(PlatformError::Kind kind) {
    static constexpr std::array kNames{"cannotConnect", "timedOut",    "cancelled", "insecure",
                                       "badRequest",    "badResponse", "notFound",  "accessDenied",
                                       "noSpace",       "io",          "audio",     "background"};
    return kNames.at(static_cast<std::size_t>(kind));
}

std::string text(const VelmorError& error) {
    const auto* unknown = error.as<VelmorError::unknown>();
    if (unknown == nullptr) return error.description();
    try {
        std::rethrow_exception(unknown->systemError);
    } catch (const PlatformError& cause) {
        if (cause.kind() != PlatformError::Kind::timedOut) return text(cause.kind());
        return std::string(cause.what()).starts_with("no complete") ? "timedOut total" : "timedOut idle";
    } catch (const DecodingError& cause) {
        return "decoding " + cause.path();
    }
}

}  // namespace Velmor::Faults
