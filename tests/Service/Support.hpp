#pragma once

#include "../TemporaryDirectory.hpp"
#include "service/Http/Message.hpp"
#include "service/LocalService.hpp"

#include <arpa/inet.h>
#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace VelmorService::Testing {

using nlohmann::json;
using VelmorTests::TemporaryDirectory;

/// A connection that sends and receives exactly the bytes it is told to.
class RawClient {
  public:
    explicit RawClient(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("connect");
    }
    ~RawClient() { ::close(socket_); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    void send(const std::string& bytes) {
        for (std::size_t sent = 0; sent < bytes.size();) {
            const auto count = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count < 0) return;
            sent += static_cast<std::size_t>(count);
        }
    }
    /// Up to `count` bytes, less only when the stream ends before.
    std::string receive(std::size_t count) {
        std::string all;
        std::array<char, 4096> block{};
        while (all.size() < count) {
            const auto got = ::recv(socket_, block.data(), std::min(block.size(), count - all.size()), 0);
            if (got <= 0) break;
            all.append(block.data(), static_cast<std::size_t>(got));
        }
        return all;
    }
    /// Everything until the end of the stream.
    std::string receiveAll() { return receive(SIZE_MAX); }

  private:
    int socket_;
};

struct Answer {
    int status = 0;
    std::string head;
    std::string body;
};

/// The envelope's result; null where there is none.
inline json resultOf(const Answer& answer) {
    const auto parsed = json::parse(answer.body, nullptr, false);
    return parsed.is_object() ? parsed.value("result", json()) : json();
}

/// One request on a connection of its own, with the given header lines ("Name: value") and the length of the
/// body.
inline Answer exchange(std::uint16_t port, const std::string& method, const std::string& target,
                       const std::vector<std::string>& headerLines = {}, const std::string& body = {}) {
    std::string request =
        method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n";
    for (const auto& line : headerLines) request += line + "\r\n";
    if (!body.empty()) request += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    RawClient client(port);
    client.send(request + "\r\n" + body);
    const std::string answer = client.receiveAll();
    const auto end = answer.find("\r\n\r\n");
    if (!answer.starts_with("HTTP/1.1 ") || end == std::string::npos) return {};
    return {std::stoi(answer.substr(9, 3)), answer.substr(0, end + 2), answer.substr(end + 4)};
}

/// A well-formed mel array, every value `value`.
inline std::string melFile(float value = 1.0F) {
    const std::string header = "{ 'descr': '=f4', 'fortran_order': False, 'shape': (1, 20, 1201), }";
    std::string file = std::string("\x93NUMPY\x01\x00", 8) + static_cast<char>(header.size()) + '\0' + header;
    const std::vector<float> values(20 * 1201, value);
    return file.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof value);
}

inline const std::string kBoundary = "4C3BFD55-9D2B-4C5F-8A8F-6A7E1B0E7D11";
inline const std::string kFormType = "Content-Type: multipart/form-data; boundary=" + kBoundary;

/// The array as a client uploads it, without a line end after the closing boundary.
inline std::string melForm(const std::string& npy) {
    return "--" + kBoundary +
           "\r\nContent-Disposition: form-data; name=\"melspectrogram\"; filename=\"melspectrogram.npy\"\r\n"
           "Content-Type: \r\n\r\n" +
           npy + "\r\n--" + kBoundary + "--";
}

/// The least that opens a session.
inline std::string sessionBody(const std::string& start, bool forced = true) {
    return json{{"upload_data_type", "AUDIO"}, {"session_start_time", start}, {"force_create", forced}}
        .dump();
}

/// A service and a client that is joined as "tester" in Seoul.
class ServicePeer {
  public:
    explicit ServicePeer(const std::string& apiKey = {},
                         std::function<void(const ServedRequest&)> onRequest = {})
        : options_{
              .directory = directory.path / "data", .apiKey = apiKey, .onRequest = std::move(onRequest)} {
        restart();
    }

    Answer get(const std::string& target) { return call("GET", target); }
    Answer post(const std::string& target, const std::string& body) { return call("POST", target, body); }
    Answer call(const std::string& method, const std::string& target, const std::string& body = {}) {
        return exchange(service_->port(), method, target,
                        {"x-api-key: key", "timezone: Asia/Seoul", "x-user-id: " + user,
                         "Content-Type: application/json"},
                        body);
    }
    Answer upload(const std::string& session, const std::string& sequence, const std::string& form,
                  const std::string& base = {}) {
        return exchange(service_->port(), "POST",
                        base + "/ai/v1/sessions/" + session + "/mel-data/" + sequence,
                        {"x-api-key: key", kFormType}, form);
    }
    Answer upload(const std::string& session, int sequence) {
        return upload(session, std::to_string(sequence), melForm(melFile()));
    }
    /// Opens a session and returns its id; fails the test when it cannot.
    std::string open(const std::string& start = "2024-01-31T14:00:00Z") {
        auto body = json::parse(sessionBody(start));
        body["upload_data_type"] = "MELSPECTROGRAM";
        for (const char* absent : {"service", "callback_url", "callback_version"}) body[absent] = nullptr;
        const auto answer = post("/ai/v1/sessions", body.dump());
        EXPECT_EQ(answer.status, 200) << answer.body;
        return resultOf(answer).at("session_id");
    }
    Answer close(const std::string& session, const std::string& end, bool unexpected = false) {
        return post("/ai/v1/sessions/" + session + "/close",
                    json{{"session_end_time", end}, {"unexpected", unexpected}}.dump());
    }

    LocalService& service() { return *service_; }
    void restart() {
        service_.reset();
        service_.emplace(options_);
    }

    std::string user = "tester";
    TemporaryDirectory directory;

  private:
    const LocalServiceOptions options_;
    std::optional<LocalService> service_;
};

}  // namespace VelmorService::Testing
