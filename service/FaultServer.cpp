#include "service/FaultServer.hpp"

#include "service/Http/RequestReader.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace VelmorService {

namespace {

constexpr unsigned kThreads = 8;
/// Long enough for a client that is slow on purpose; a test that wants a mute client ends it itself.
constexpr std::chrono::milliseconds kPatience{60'000};

/// Performs one step; false when the connection is over.
class Performer {
  public:
    explicit Performer(Connection& connection) : connection_(connection) {}

    bool operator()(const FaultServer::Send& step) { return written(step.bytes); }

    bool operator()(const FaultServer::Drip& step) {
        return std::ranges::all_of(step.bytes, [&](const char& byte) {
            return written({&byte, 1}) && !connection_.pause(step.interval);
        });
    }

    bool operator()(const FaultServer::Flood& step) {
        for (std::size_t sent = 0; sent < step.limit && !step.bytes.empty();) {
            const auto piece = std::string_view(step.bytes).substr(0, step.limit - sent);
            if (!written(piece)) {
                return false;
            }
            sent += piece.size();
        }
        return true;
    }

    bool operator()(const FaultServer::Stall& step) {
        connection_.holdUntilClientLeaves(step.readMeanwhile);
        return false;
    }

    bool operator()(const FaultServer::Close&) {
        connection_.finish();
        return false;
    }

    bool operator()(const FaultServer::Reset&) {
        connection_.reset();
        return false;
    }

  private:
    bool written(std::string_view bytes) {
        return connection_.write(bytes, kPatience) == Connection::Result::Done;
    }

    Connection& connection_;
};

}  // namespace

FaultServer::Script FaultServer::answer(int status, const std::string& body,
                                        const std::string& extraHeaderLines) {
    const std::string head =
        "HTTP/1.1 " + std::to_string(status) + " Scripted\r\nContent-Type: application/json\r\n" +
        extraHeaderLines + "Content-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n";
    return {.steps = {Send{head + body}}};
}

FaultServer::FaultServer(Script fallback, std::uint16_t port)
    : fallback_(std::move(fallback)),
      listener_("127.0.0.1", port, kThreads, [this](Connection& connection) { serve(connection); }) {}

FaultServer::~FaultServer() {
    stop();
}

void FaultServer::enqueue(Script script) {
    const Velmor::Lock lock(mutex_);
    scripts_.push_back(std::move(script));
}

void FaultServer::setFallback(Script script) {
    const Velmor::Lock lock(mutex_);
    fallback_ = std::move(script);
}

std::size_t FaultServer::connections() const {
    const Velmor::Lock lock(mutex_);
    return connections_;
}

std::size_t FaultServer::finished() const {
    const Velmor::Lock lock(mutex_);
    return finished_;
}

std::vector<RawRequest> FaultServer::requests() const {
    const Velmor::Lock lock(mutex_);
    return requests_;
}

std::vector<RawRequest> FaultServer::takeRequests() {
    const Velmor::Lock lock(mutex_);
    return std::exchange(requests_, {});
}

bool FaultServer::waitForRequests(std::size_t count, std::chrono::milliseconds time) const {
    Velmor::Lock lock(mutex_);
    return changed_.waitFor(lock, time, [&]() VELMOR_REQUIRES(mutex_) { return requests_.size() >= count; });
}

bool FaultServer::waitForFinished(std::size_t count, std::chrono::milliseconds time) const {
    Velmor::Lock lock(mutex_);
    return changed_.waitFor(lock, time, [&]() VELMOR_REQUIRES(mutex_) { return finished_ >= count; });
}

FaultServer::Script FaultServer::nextScript() {
    const Velmor::Lock lock(mutex_);
    ++connections_;
    if (scripts_.empty()) {
        return fallback_;
    }
    Script script = std::move(scripts_.front());
    scripts_.pop_front();
    return script;
}

void FaultServer::serve(Connection& connection) {
    const Script script = nextScript();
    if (script.readRequest) {
        constexpr auto kNoLimit = std::numeric_limits<std::size_t>::max();
        const RequestLimits generous{
            .head = kNoLimit, .body = kNoLimit, .target = kNoLimit, .patience = kPatience};
        RawRequest request;
        readRequest(connection, generous, request);
        if (!request.bytes.empty()) {
            const Velmor::Lock lock(mutex_);
            requests_.push_back(std::move(request));
            changed_.notifyAll();
        }
    }
    Performer perform(connection);
    const bool open =
        std::ranges::all_of(script.steps, [&](const Step& step) { return std::visit(perform, step); });
    if (open) {
        connection.finish();
    }
    const Velmor::Lock lock(mutex_);
    ++finished_;
    changed_.notifyAll();
}

}  // namespace VelmorService
