// A scripted HTTP server for tests of a client's transport.
#pragma once

#include "Here.hpp"
#include "ReceivedRequest.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <thread>
#include <variant>
#include <vector>

namespace Velmor::Faults {

/// Records every request exactly as it came in, and sends, byte for byte, what its script says. One script
/// serves one connection. It listens on loopback.
class FaultServer {
  public:
    struct Send {
        std::string bytes;
    };
    /// The bytes one at a time, `interval` apart.
    struct Drip {
        std::string bytes;
        std::chrono::milliseconds interval{0};
    };
    /// Repeats `bytes` until the client leaves, the server stops, or `limit` bytes were sent.
    struct Flood {
        std::string bytes;
        std::size_t limit = SIZE_MAX;
    };
    /// Says nothing until the client leaves or the server stops. With `readMeanwhile` false it does not read
    /// either, so that the client's sending stalls once the buffers are full.
    struct Stall {
        bool readMeanwhile = true;
    };
    struct Close {};
    struct Reset {};
    using Step = std::variant<Send, Drip, Flood, Stall, Close, Reset>;

    struct Script {
        std::vector<Step> steps;  ///< after the last one the connection is closed
        /// False: the steps begin at once and nothing is read, so nothing is recorded.
        bool readRequest = true;
    };

    /// 200 and the envelope {"result":{}}, `body` instead if given, with the right length.
    static Script answer(int status = 200, const std::string& body = R"({"result":{}})",
                         const std::string& extraHeaderLines = {});

    explicit FaultServer(Script fallback = answer());
    ~FaultServer();
    FaultServer(const FaultServer&) = delete;
    FaultServer& operator=(const FaultServer&) = delete;

    /// The script of the next connection that has none yet, in the order of the calls. Later connections get
    /// the fallback.
    void enqueue(Script script);
    void setFallback(Script script);

    std::string url() const { return "http://127.0.0.1:" + std::to_string(port()); }
    std::uint16_t port() const { return socket_.portNumber(); }
    /// Connections accepted so far.
    std::size_t connections() const;
    /// What was received, in the order in which reading ended.
    std::vector<ReceivedRequest> requests() const;
    /// The same, and forgets them.
    std::vector<ReceivedRequest> takeRequests();
    /// True when that many requests were received before the time was over.
    bool waitForRequests(std::size_t count, std::chrono::milliseconds time = std::chrono::seconds(10)) const;
    /// True when that many connections had ended before the time was over.
    bool waitForFinished(std::size_t count, std::chrono::milliseconds time = std::chrono::seconds(10)) const;

  private:
    void acceptLoop();
    void serve(int socket);
    bool begin(int socket, Script& script);
    void record(ReceivedRequest request);
    void end(int socket);

    mutable Mutex mutex_;
    mutable Condition changed_;
    Script fallback_ VELMOR_GUARDED_BY(mutex_);
    std::deque<Script> scripts_ VELMOR_GUARDED_BY(mutex_);
    std::vector<ReceivedRequest> requests_ VELMOR_GUARDED_BY(mutex_);
    std::vector<int> open_ VELMOR_GUARDED_BY(mutex_);  ///< the sockets of the connections
    std::size_t connections_ VELMOR_GUARDED_BY(mutex_) = 0;
    std::size_t finished_ VELMOR_GUARDED_BY(mutex_) = 0;
    bool stopped_ VELMOR_GUARDED_BY(mutex_) = false;
    Socket socket_{SOCK_STREAM};
    std::vector<std::thread> threads_;
};

}  // namespace Velmor::Faults
