// The sessions service and the log on the system's own transport, and a peer that misbehaves.
#pragma once

#include "../World.hpp"
#include "FaultServer.hpp"
#include "Log/LogAPI.hpp"
#include "SessionService/SessionsService.hpp"
#include "Table.hpp"

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace Velmor::Faults {

using Peer = FaultServer;
using Steps = std::vector<Peer::Step>;
using Clock = std::chrono::steady_clock;

constexpr const char* kKey = "K3y";

/// Limits pass this much faster than in the field, unless `./dev nights` wants them as they are.
inline const int kHaste = std::getenv("VELMOR_REAL_TIME") == nullptr ? 30 : 1;

struct Row {
    const char* name;
    Steps steps;             ///< of the peer, once it has the request
    const char* then;        ///< what the sessions service tells
    std::size_t upload = 5;  ///< bytes; 0: asks for the user instead, whose answer has a record
    bool reads = true;       ///< false: the steps begin at once, with nothing read
};

class Client : World {
  public:
    explicit Client(const HttpOptions& given = {});

    /// Meets the fault with a request at the head of the queue and one behind it, which must arrive, and with
    /// a shipment of the log, of which nothing may stay. `url` is the bad peer's; ours when empty.
    void check(const Row& row, const std::string& url = {});

    Peer server;
    Peer stranger;  ///< whom nobody may ask

  private:
    class Hasty;

    Config config(const std::string& url) const { return {kKey, "u1", Url::parse(url)}; }
    template <class Done>
    void runUntil(Done done);
    void checkTime(const Row& row, Clock::duration took) const;
    void ship(const Row& row, const std::string& url);
    void leave(const Row& row, const std::string& url);

    const HttpOptions options;

    std::shared_ptr<LogAPI> log;
    std::shared_ptr<SessionsService> service;
    std::vector<std::string> states;
    Clock::time_point firstState;
    Bag bag;
};

}  // namespace Velmor::Faults
