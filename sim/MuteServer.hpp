// Takes connections over loopback and never says a word, or only that a session is open.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace Velmor::Nights {

/// How long the library may take to end while such a server holds its requests.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr std::chrono::milliseconds kLongestEnd{3'000};
#else
constexpr std::chrono::milliseconds kLongestEnd{250};
#endif

class MuteServer {
  public:
    explicit MuteServer(bool opensSessions = false);
    ~MuteServer();
    MuteServer(const MuteServer&) = delete;
    MuteServer& operator=(const MuteServer&) = delete;

    std::string url() const { return "http://127.0.0.1:" + std::to_string(port_); }
    std::size_t connections() const { return connections_; }
    std::size_t uploads() const { return uploads_; }  ///< that have begun, where sessions are opened

    /// From now on every connection is closed, those that are open too.
    void hangUp();

  private:
    void serve();
    void openSession(int connection);
    void closeOldest();

    const bool opensSessions_;

    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<std::size_t> connections_{0}, uploads_{0};
    std::mutex mutex_;  // guards the two below
    std::deque<int> open_;
    bool hangingUp_ = false;
    std::thread thread_;
};

}  // namespace Velmor::Nights
