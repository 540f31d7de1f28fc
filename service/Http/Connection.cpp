#include "service/Http/Connection.hpp"

#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace VelmorService {

namespace {

constexpr std::chrono::milliseconds kFarewell{500};
constexpr std::chrono::milliseconds kForever{24 * 3600 * 1000};

}  // namespace

Connection::Connection(FileDescriptor socket, const StopSignal& stop)
    : socket_(std::move(socket)), stop_(stop) {
    const int on = 1;
    ::setsockopt(socket_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

Connection::Result Connection::waitFor(short events, Milliseconds patience) const {
    const auto end = std::chrono::steady_clock::now() + patience;
    for (;;) {
        const auto left = std::chrono::ceil<Milliseconds>(end - std::chrono::steady_clock::now()).count();
        std::array<pollfd, 2> waits{pollfd{.fd = socket_.get(), .events = events, .revents = 0},
                                    pollfd{.fd = stop_.descriptor(), .events = POLLIN, .revents = 0}};
        const int ready = ::poll(waits.data(), waits.size(), left > 0 ? static_cast<int>(left) : 0);
        if (waits[1].revents != 0) {
            return Result::Stopped;
        }
        if (ready > 0) {
            return Result::Done;
        }
        if (left <= 0) {
            return Result::TimedOut;
        }
    }
}

Connection::Result Connection::read(std::span<char> into, std::size_t& count, Milliseconds patience) {
    count = 0;
    for (;;) {
        if (const auto waited = waitFor(POLLIN, patience); waited != Result::Done) {
            return waited;
        }
        const auto got = ::recv(socket_.get(), into.data(), into.size(), MSG_DONTWAIT);
        if (got > 0) {
            count = static_cast<std::size_t>(got);
            return Result::Done;
        }
        if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
            return Result::Closed;
        }
    }
}

Connection::Result Connection::write(std::string_view bytes, Milliseconds patience) {
    while (!bytes.empty()) {
        if (const auto waited = waitFor(POLLOUT, patience); waited != Result::Done) {
            return waited;
        }
        const auto sent = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        } else if (errno != EINTR && errno != EAGAIN) {
            return Result::Closed;
        }
    }
    return Result::Done;
}

void Connection::finish() {
    ::shutdown(socket_.get(), SHUT_WR);
    std::array<char, 16384> dropped{};
    std::size_t count = 0;
    const auto end = std::chrono::steady_clock::now() + kFarewell;
    while (read(dropped, count, kFarewell) == Result::Done && std::chrono::steady_clock::now() < end) {
    }
    socket_.close();
}

void Connection::reset() {
    const linger now{.l_onoff = 1, .l_linger = 0};
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    socket_.close();
}

void Connection::holdUntilClientLeaves(bool readMeanwhile) {
    if (!readMeanwhile) {
        waitFor(POLLRDHUP, kForever);
        return;
    }
    std::array<char, 16384> dropped{};
    std::size_t count = 0;
    while (read(dropped, count, kForever) == Result::Done) {
    }
}

}  // namespace VelmorService
