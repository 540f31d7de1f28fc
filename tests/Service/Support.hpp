#pragma once

#include "service/Http/Message.hpp"
#include "service/LocalService.hpp"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace VelmorService::Testing {

/// A directory that goes away with its owner.
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    std::string path() const { return path_.string(); }

  private:
    std::filesystem::path path_;
};

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

/// One request on a connection of its own, with the given header lines ("Name: value") and the length of the
/// body.
Answer exchange(std::uint16_t port, const std::string& method, const std::string& target,
                const std::vector<std::string>& headerLines = {}, const std::string& body = {});

/// A well-formed mel array, every value `value`.
std::string melFile(float value = 1.0F);
/// The array as a client uploads it, without a line end after the closing boundary.
std::string melForm(const std::string& npy);
extern const std::string kFormType;  ///< the Content-Type line that goes with it

/// A service and a client that is joined as "tester" in Seoul.
class ServicePeer {
  public:
    explicit ServicePeer(const std::string& apiKey = {},
                         std::function<void(const ServedRequest&)> onRequest = {});

    Answer get(const std::string& target) { return call("GET", target); }
    Answer post(const std::string& target, const std::string& json) { return call("POST", target, json); }
    Answer call(const std::string& method, const std::string& target, const std::string& body = {});
    Answer upload(const std::string& session, const std::string& sequence, const std::string& form);
    Answer upload(const std::string& session, int sequence);
    /// Opens a session and returns its id; fails the test when it cannot.
    std::string open(const std::string& start = "2024-01-31T14:00:00Z");
    Answer close(const std::string& session, const std::string& end, bool unexpected = false);

    LocalService& service() { return service_; }
    std::string user = "tester";
    TemporaryDirectory directory;

  private:
    LocalService service_;
};

}  // namespace VelmorService::Testing
