#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace VelmorService {

class Connection;

/// One way in which the local service misbehaves. Only code that holds the service can set one; no request
/// can.
struct Fault {
    enum class Kind {
        Answer,       ///< answers `status` and `body` instead of handling the request
        Delay,        ///< handles the request, answers after `time`
        Stall,        ///< sends the first `bytes` of the answer, then nothing more until the client leaves
        Drip,         ///< sends the answer byte by byte, `time` apart
        Reset,        ///< sends the first `bytes` of the answer, then resets the connection
        Garbage,      ///< sends `body` as it stands instead of an HTTP answer
        WrongLength,  ///< says a Content-Length that is `bytes` more than it sends, then closes
    };

    Kind kind = Kind::Answer;
    std::string method = {};  ///< empty for any
    std::string path =
        "*";  ///< of the request as sent, query excluded; "*" stands for any text, slashes included
    std::uint64_t nth = 0;  ///< misbehaves at the n-th matching request, from 1; 0 at each
    int status = 500;
    std::string body = {};
    std::size_t bytes = 0;
    std::chrono::milliseconds time{0};
    bool handled = true;  ///< whether the request takes effect before the fault; an `Answer` never does
};

/// The faults of a service. Safe to use from any thread.
class FaultTable {
  public:
    void add(Fault fault);
    void clear();
    /// Counts the request against every fault that fits it and returns the first one that is due.
    std::optional<Fault> next(const std::string& method, std::string_view path);

  private:
    struct Entry {
        Fault fault;
        std::uint64_t seen = 0;
    };
    std::mutex mutex_;
    std::vector<Entry> entries_;  ///< guarded by mutex_
};

/// Sends an answer the way the fault says. The connection is over afterwards.
void deliverFaulty(Connection& connection, const Fault& fault, const std::string& answer);

/// Whether `text` fits a pattern in which "*" stands for any text.
bool fitsPattern(std::string_view pattern, std::string_view text);

}  // namespace VelmorService
