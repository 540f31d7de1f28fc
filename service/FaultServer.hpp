#pragma once

#include "service/Http/Listener.hpp"
#include "service/Http/Message.hpp"
#include "src/Runtime/ThreadSafety.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <variant>
#include <vector>

namespace VelmorService {

/// A scripted HTTP peer for tests of a client's transport: it knows no API, records every request exactly as
/// it came in, and sends, byte for byte, what its script says. One script serves one connection. Loopback
/// only.
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
    /// either.
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

    /// Throws std::runtime_error when it cannot listen. Port 0 takes a free one.
    explicit FaultServer(Script fallback = answer(), std::uint16_t port = 0);
    ~FaultServer();

    /// The script of the next connection that has none yet, in the order of the calls. Later connections get
    /// the fallback.
    void enqueue(Script script);
    void setFallback(Script script);

    std::string url() const { return listener_.url(); }
    std::uint16_t port() const { return listener_.port(); }
    /// Connections accepted so far.
    std::size_t connections() const;
    /// Connections that are over.
    std::size_t finished() const;
    /// What was received, in the order in which reading ended; an incomplete request has `complete` false.
    std::vector<RawRequest> requests() const;
    /// The same, and forgets them.
    std::vector<RawRequest> takeRequests();
    /// True when that many requests (or finished connections) were seen before the time was over.
    bool waitForRequests(std::size_t count, std::chrono::milliseconds time = std::chrono::seconds(10)) const;
    bool waitForFinished(std::size_t count, std::chrono::milliseconds time = std::chrono::seconds(10)) const;
    void stop() { listener_.stop(); }

  private:
    void serve(Connection& connection);
    Script nextScript();

    mutable Velmor::Mutex mutex_;
    mutable Velmor::Condition changed_;
    Script fallback_ VELMOR_GUARDED_BY(mutex_);
    std::deque<Script> scripts_ VELMOR_GUARDED_BY(mutex_);
    std::vector<RawRequest> requests_ VELMOR_GUARDED_BY(mutex_);
    std::size_t connections_ VELMOR_GUARDED_BY(mutex_) = 0;
    std::size_t finished_ VELMOR_GUARDED_BY(mutex_) = 0;
    Listener listener_;  ///< last: its threads use everything above
};

}  // namespace VelmorService
