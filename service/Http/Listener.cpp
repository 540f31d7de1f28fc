#include "service/Http/Listener.hpp"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <utility>

namespace VelmorService {

namespace {

constexpr int kBacklog = 128;
constexpr std::chrono::milliseconds kOutOfDescriptorsPause{50};

struct Address {
    sockaddr_storage storage{};
    socklen_t length = 0;

    sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
};

Address loopbackAddress(const std::string& host, std::uint16_t port) {
    Address address;
    if (host == "::1") {
        sockaddr_in6 six{};
        six.sin6_family = AF_INET6;
        six.sin6_port = htons(port);
        six.sin6_addr = in6addr_loopback;
        std::memcpy(&address.storage, &six, sizeof six);
        address.length = sizeof six;
    } else if (host == "127.0.0.1" || host == "localhost") {
        sockaddr_in four{};
        four.sin_family = AF_INET;
        four.sin_port = htons(port);
        four.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        std::memcpy(&address.storage, &four, sizeof four);
        address.length = sizeof four;
    } else {
        throw std::runtime_error("the local service listens on loopback only, not on \"" + host + "\"");
    }
    return address;
}

FileDescriptor listeningSocket(const std::string& host, std::uint16_t port) {
    Address address = loopbackAddress(host, port);
    const auto fail = [&]() {
        const int error = errno;
        throw std::runtime_error("cannot listen on " + host + " port " + std::to_string(port) + ": " +
                                 std::generic_category().message(error));
    };
    FileDescriptor socket(
        ::socket(address.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP));
    if (!socket) {
        fail();
    }
    const int on = 1;
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (::bind(socket.get(), address.get(), address.length) != 0 || ::listen(socket.get(), kBacklog) != 0) {
        fail();
    }
    return socket;
}

std::uint16_t boundPort(int socket) {
    Address address;
    address.length = sizeof address.storage;
    ::getsockname(socket, address.get(), &address.length);
    if (address.storage.ss_family == AF_INET6) {
        sockaddr_in6 six{};
        std::memcpy(&six, &address.storage, sizeof six);
        return ntohs(six.sin6_port);
    }
    sockaddr_in four{};
    std::memcpy(&four, &address.storage, sizeof four);
    return ntohs(four.sin_port);
}

}  // namespace

Listener::Listener(const std::string& host, std::uint16_t port, unsigned threads, Handler handler)
    : host_(host),
      handler_(std::move(handler)),
      socket_(listeningSocket(host, port)),
      port_(boundPort(socket_.get())) {
    threads_.reserve(threads);
    try {
        for (unsigned i = 0; i < threads; ++i) {
            threads_.emplace_back([this] { acceptLoop(); });
        }
    } catch (...) {
        stop();
        throw;
    }
}

Listener::~Listener() {
    stop();
}

std::string Listener::url() const {
    return "http://" + (host_ == "::1" ? "[::1]" : host_) + ":" + std::to_string(port_);
}

void Listener::stop() {
    stop_.raise();
    for (auto& thread : threads_) {
        if (thread.joinable()) {
            thread.join();
        }
    }
    socket_.close();
}

FileDescriptor Listener::acceptOne() {
    const Velmor::Lock turn(accepting_);
    std::array<pollfd, 2> waits{pollfd{.fd = socket_.get(), .events = POLLIN, .revents = 0},
                                pollfd{.fd = stop_.descriptor(), .events = POLLIN, .revents = 0}};
    ::poll(waits.data(), waits.size(), -1);
    if (waits[1].revents != 0) {
        return {};
    }
    FileDescriptor accepted(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!accepted && (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)) {
        // The waiting connection keeps the socket readable: without a pause this would spin.
        stop_.pause(kOutOfDescriptorsPause);
    }
    return accepted;
}

void Listener::acceptLoop() {
    while (!stop_.raised()) {
        if (auto accepted = acceptOne()) {
            Connection connection(std::move(accepted), stop_);
            handler_(connection);
        }
    }
}

}  // namespace VelmorService
