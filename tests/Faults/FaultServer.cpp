#include "FaultServer.hpp"

#include <algorithm>
#include <cerrno>
#include <netinet/tcp.h>
#include <poll.h>
#include <utility>

namespace Velmor::Faults {
namespace {

constexpr int kThreads = 8;
constexpr int kForever = -1;

bool isOver(int socket, int milliseconds) {
    pollfd wait{.fd = socket, .events = POLLRDHUP, .revents = 0};
    return poll(&wait, 1, milliseconds) != 0;
}

void discardUntilClientLeaves(int socket) {
    std::string dropped(65536, '\0');
    while (recv(socket, dropped.data(), dropped.size(), 0) > 0) {
    }
}

/// Sends the end of the stream, then takes in for a short while what the client still sends: closing a socket
/// with unread bytes would reset the connection and could destroy an answer that is not read yet.
void finish(int socket) {
    const timeval patience{.tv_sec = 0, .tv_usec = 500'000};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    shutdown(socket, SHUT_WR);
    discardUntilClientLeaves(socket);
}

/// Performs one step; false when the connection is over.
class Performer {
  public:
    explicit Performer(int socket) : socket_(socket) {}

    bool operator()(const FaultServer::Send& step) { return send(step.bytes); }

    bool operator()(const FaultServer::Drip& step) {
        return std::ranges::all_of(step.bytes, [&](const char& byte) {
            return send({&byte, 1}) && !isOver(socket_, static_cast<int>(step.interval.count()));
        });
    }

    bool operator()(const FaultServer::Flood& step) {
        for (std::size_t sent = 0; sent < step.limit;) {
            const auto piece = std::string_view(step.bytes).substr(0, step.limit - sent);
            if (!send(piece)) return false;
            sent += piece.size();
        }
        return true;
    }

    bool operator()(const FaultServer::Stall& step) {
        if (step.readMeanwhile)
            discardUntilClientLeaves(socket_);
        else
            isOver(socket_, kForever);
        return false;
    }

    bool operator()(const FaultServer::Close&) {
        finish(socket_);
        return false;
    }

    bool operator()(const FaultServer::Reset&) {
        const linger now{.l_onoff = 1, .l_linger = 0};
        setsockopt(socket_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        return false;
    }

  private:
    bool send(std::string_view bytes) {
        while (!bytes.empty()) {
            const auto count = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0) return false;
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }

    const int socket_;
};

}  // namespace

FaultServer::Script FaultServer::answer(int status, const std::string& body,
                                        const std::string& extraHeaderLines) {
    const std::string head =
        "HTTP/1.1 " + std::to_string(status) + " Scripted\r\nContent-Type: application/json\r\n" +
        extraHeaderLines + "Content-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n";
    return {.steps = {Send{head + body}}};
}

FaultServer::FaultServer(Script fallback) : fallback_(std::move(fallback)) {
    listen(socket_.number(), 128);
    for (int i = 0; i < kThreads; ++i) threads_.emplace_back([this] { acceptLoop(); });
}

FaultServer::~FaultServer() {
    {
        const Lock lock(mutex_);
        stopped_ = true;
        shutdown(socket_.number(), SHUT_RDWR);
        for (const int socket : open_) shutdown(socket, SHUT_RDWR);
    }
    changed_.notifyAll();
    for (auto& thread : threads_) thread.join();
}

void FaultServer::enqueue(Script script) {
    const Lock lock(mutex_);
    scripts_.push_back(std::move(script));
}

void FaultServer::setFallback(Script script) {
    const Lock lock(mutex_);
    fallback_ = std::move(script);
}

std::size_t FaultServer::connections() const {
    const Lock lock(mutex_);
    return connections_;
}

std::vector<ReceivedRequest> FaultServer::requests() const {
    const Lock lock(mutex_);
    return requests_;
}

std::vector<ReceivedRequest> FaultServer::takeRequests() {
    const Lock lock(mutex_);
    return std::exchange(requests_, {});
}

bool FaultServer::waitForRequests(std::size_t count, std::chrono::milliseconds time) const {
    Lock lock(mutex_);
    return changed_.waitFor(lock, time, [&]() VELMOR_REQUIRES(mutex_) { return requests_.size() >= count; });
}

bool FaultServer::waitForFinished(std::size_t count, std::chrono::milliseconds time) const {
    Lock lock(mutex_);
    return changed_.waitFor(lock, time, [&]() VELMOR_REQUIRES(mutex_) { return finished_ >= count; });
}

void FaultServer::acceptLoop() {
    for (;;) {
        const int accepted = accept4(socket_.number(), nullptr, nullptr, SOCK_CLOEXEC);
        if (accepted >= 0) {
            serve(accepted);
            continue;
        }
        Lock lock(mutex_);
        if (stopped_) return;
        // Without descriptors the waiting connection keeps accept from blocking.
        changed_.waitFor(lock, std::chrono::milliseconds(50));
    }
}

void FaultServer::serve(int socket) {
    Script script;
    if (begin(socket, script)) {
        if (script.readRequest) record(receiveRequest(socket));
        Performer perform(socket);
        if (std::ranges::all_of(script.steps, [&](const Step& step) { return std::visit(perform, step); }))
            finish(socket);
    }
    end(socket);
}

bool FaultServer::begin(int socket, Script& script) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const Lock lock(mutex_);
    open_.push_back(socket);
    ++connections_;
    script = scripts_.empty() ? fallback_ : scripts_.front();
    if (!scripts_.empty()) scripts_.pop_front();
    return !stopped_;
}

void FaultServer::record(ReceivedRequest request) {
    if (request.bytes.empty()) return;
    const Lock lock(mutex_);
    requests_.push_back(std::move(request));
    changed_.notifyAll();
}

void FaultServer::end(int socket) {
    const Lock lock(mutex_);
    std::erase(open_, socket);
    close(socket);
    ++finished_;
    changed_.notifyAll();
}

}  // namespace Velmor::Faults
