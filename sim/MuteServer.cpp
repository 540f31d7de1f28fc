#include "MuteServer.hpp"

#include <algorithm>
#include <array>
#include <netinet/in.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace Velmor::Nights {
namespace {

constexpr std::size_t kKept = 64;  // connections; the oldest is closed for the next

}  // namespace

MuteServer::MuteServer(bool opensSessions)
    : opensSessions_(opensSessions), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (listener_ < 0 || bind(listener_, any, size) != 0 || listen(listener_, SOMAXCONN) != 0 ||
        getsockname(listener_, any, &size) != 0)
        throw std::runtime_error("no socket for a mute server");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
}

MuteServer::~MuteServer() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
    hangUp();
}

// A request for a session is answered; of another the head is left where it is.
void MuteServer::openSession(int connection) {
    static constexpr std::string_view kWanted = "POST /ai/v1/sessions HTTP";
    static constexpr std::string_view kBody = R"({"result":{"session_id":"s1"}})";
    std::array<char, kWanted.size()> head{};
    const auto count = recv(connection, head.data(), head.size(), MSG_PEEK | MSG_WAITALL);
    const std::string_view seen(head.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (seen.find("/mel-data/") != seen.npos || seen.starts_with("POST /ai/v1/sessions/")) ++uploads_;
    if (seen != kWanted) return;
    const auto answer = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kBody.size()) +
                        "\r\nConnection: close\r\n\r\n" + std::string(kBody);
    send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
}

void MuteServer::serve() {
    for (int one = 0; (one = accept(listener_, nullptr, nullptr)) >= 0;) {
        ++connections_;
        if (opensSessions_) openSession(one);
        const std::lock_guard lock(mutex_);
        open_.push_back(one);
        if (open_.size() > kKept || hangingUp_) closeOldest();
    }
}

void MuteServer::hangUp() {
    const std::lock_guard lock(mutex_);
    hangingUp_ = true;
    while (!open_.empty()) closeOldest();
}

// What was sent and not read makes it a reset.
void MuteServer::closeOldest() {
    close(open_.front());
    open_.pop_front();
}

}  // namespace Velmor::Nights
