#pragma once

#include "../TemporaryDirectory.hpp"
#include "service/Http/Message.hpp"
#include "service/LocalService.hpp"

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace VelmorService::Testing {

using nlohmann::json;
using VelmorTests::TemporaryDirectory;

/// A connection that sends and receives exactly the bytes it is told to.
class RawClient {
  public:
    explicit RawClient(std::uint16_t port);
    ~RawClient();
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    void send(const std::string& bytes);
    /// Up to `count` bytes, less only when the stream ends before.
    std::string receive(std::size_t count);
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
json resultOf(const Answer& answer);

/// One request on a connection of its own, with the given header lines ("Name: value") and the length of the
/// body.
Answer exchange(std::uint16_t port, const std::string& method, const std::string& target,
                const std::vector<std::string>& headerLines = {}, const std::string& body = {});

/// A well-formed mel array, every value `value`.
std::string melFile(float value = 1.0F);
/// The array as a client uploads it, without a line end after the closing boundary.
std::string melForm(const std::string& npy);
extern const std::string kFormType;  ///< the Content-Type line that goes with it

/// The least that opens a session.
std::string sessionBody(const std::string& start, bool forced = true);

/// A service and a client that is joined as "tester" in Seoul.
class ServicePeer {
  public:
    explicit ServicePeer(const std::string& apiKey = {},
                         std::function<void(const ServedRequest&)> onRequest = {});

    Answer get(const std::string& target) { return call("GET", target); }
    Answer post(const std::string& target, const std::string& body) { return call("POST", target, body); }
    Answer call(const std::string& method, const std::string& target, const std::string& body = {});
    Answer upload(const std::string& session, const std::string& sequence, const std::string& form);
    Answer upload(const std::string& session, int sequence);
    /// Opens a session and returns its id; fails the test when it cannot.
    std::string open(const std::string& start = "2024-01-31T14:00:00Z");
    Answer close(const std::string& session, const std::string& end, bool unexpected = false);

    LocalService& service() { return *service_; }
    void restart();
    std::string user = "tester";
    TemporaryDirectory directory;

  private:
    const LocalServiceOptions options_;
    std::optional<LocalService> service_;
};

}  // namespace VelmorService::Testing
