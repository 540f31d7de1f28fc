// What a test may do to the machine it runs on without anybody else noticing: variables, and namespaces of a
// thread.
#pragma once

#include <arpa/inet.h>
#include <cstdlib>
#include <fstream>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace Velmor::Faults {

class Variable {
  public:
    Variable(const char* name, const std::string& value) : name_(name) { setenv(name, value.c_str(), 1); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() { unsetenv(name_); }

  private:
    const char* name_;
};

/// Runs `code` in a thread that has left the namespaces of `flags`; false when this process may not leave
/// them.
template <class Code>
bool apart(int flags, Code&& code) {
    bool allowed = false;
    std::thread([&] {
        allowed = unshare(flags | CLONE_NEWNS) == 0 &&
                  mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        if (allowed) code();
    }).join();
    return allowed;
}

/// In a network namespace of one's own it is down.
inline void startLoopback() {
    const int any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq loopback{};
    loopback.ifr_name[0] = 'l', loopback.ifr_name[1] = 'o';
    loopback.ifr_flags = IFF_UP | IFF_RUNNING;
    ioctl(any, SIOCSIFFLAGS, &loopback);
    close(any);
}

/// What this thread sees at `path` from now on.
inline void replaceFile(const char* path, const std::string& text) {
    std::string name = "/tmp/velmor-file-XXXXXX";
    close(mkstemp(name.data()));
    std::ofstream(name) << text;
    if (mount(name.c_str(), path, nullptr, MS_BIND, nullptr) != 0) throw std::runtime_error(path);
    unlink(name.c_str());
}

/// A socket of this machine on a free port, or on the one given.
class Socket {
  public:
    explicit Socket(int type, in_addr_t address = INADDR_LOOPBACK, std::uint16_t port = 0)
        : number_(socket(AF_INET, type | SOCK_CLOEXEC, 0)) {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(address);
        address_.sin_port = htons(port);
        socklen_t size = sizeof address_;
        if (bind(number_, raw(), size) != 0 || getsockname(number_, raw(), &size) != 0)
            throw std::runtime_error("no socket");
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() {
        for (const int waiting : waiting_) close(waiting);
        close(number_);
    }

    /// From now on whoever connects hears nothing at all: the queue of those to be accepted is full.
    void beDeaf() {
        listen(number_, 0);
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        for (int i = 0; i < 3; ++i) {
            waiting_.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            static_cast<void>(connect(waiting_.back(), raw(), sizeof address_));
        }
    }
    std::uint16_t portNumber() const { return ntohs(address_.sin_port); }
    std::string port() const { return ":" + std::to_string(portNumber()) + "/"; }
    int number() const { return number_; }

  private:
    sockaddr* raw() { return reinterpret_cast<sockaddr*>(&address_); }

    const int number_;
    sockaddr_in address_{};
    std::vector<int> waiting_;
};

}  // namespace Velmor::Faults
