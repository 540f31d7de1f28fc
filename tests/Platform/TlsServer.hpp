// A TLS peer made of the openssl command, and the certificates for it.
#pragma once

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace Velmor {

/// A root and certificates that it has signed, in a directory of their own.
class TestAuthority {
  public:
    TestAuthority() {
        std::string pattern = "/tmp/velmor-tls-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no directory for certificates");
        directory_ = pattern;
        run("openssl req -x509 -nodes -newkey ec -pkeyopt ec_paramgen_curve:P-256 -keyout root.key -out "
            "root.pem"
            " -days 30 -subj '/CN=Test Root'");
    }
    TestAuthority(const TestAuthority&) = delete;
    TestAuthority& operator=(const TestAuthority&) = delete;
    ~TestAuthority() { std::filesystem::remove_all(directory_); }

    std::string root() const { return (directory_ / "root.pem").string(); }

    /// Path of a PEM file with key and certificate. `extension` as `openssl req -addext` takes it.
    std::string issue(const std::string& extension, int days, bool selfSigned = false,
                      const std::string& key = "ec -pkeyopt ec_paramgen_curve:P-256") const {
        run("openssl req -nodes -subj /CN=leaf -newkey " + key + " -addext '" + extension +
            "' -keyout leaf.key -out leaf.csr && openssl x509 -req -in leaf.csr -copy_extensions copyall" +
            (selfSigned ? " -signkey leaf.key" : " -CA root.pem -CAkey root.key") + " -days " +
            std::to_string(days) + " -out leaf.crt && cat leaf.key leaf.crt > leaf.pem");
        return (directory_ / "leaf.pem").string();
    }

  private:
    void run(const std::string& command) const {
        if (std::system(("cd " + directory_.string() + " && { " + command + "; } >/dev/null 2>&1").c_str()) !=
            0)
            throw std::runtime_error("openssl failed: " + command);
    }
    std::filesystem::path directory_;
};

/// Answers one connection at a time with `answer`, byte for byte.
class TlsServer {
  public:
    TlsServer(const std::string& certificate, const std::string& answer,
              std::vector<std::string> options = {}) {
        std::vector<std::string> arguments{"openssl",     "s_server", "-accept",
                                           "127.0.0.1:0", "-cert",    certificate};
        arguments.insert(arguments.end(), options.begin(), options.end());
        spawn(arguments);
        if (write(input_, answer.data(), answer.size()) != static_cast<ssize_t>(answer.size()))
            throw std::runtime_error("the TLS server takes no answer");
        const std::string mark = "ACCEPT 127.0.0.1:";
        if (!waitFor(mark) || !waitFor("\n", output_.find(mark)))
            throw std::runtime_error("the TLS server does not start: " + output_);
        port_ = output_.substr(output_.find(mark) + mark.size());
        port_.resize(port_.find('\n'));
    }
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;
    ~TlsServer() {
        kill();
        close(input_);
        close(out_);
    }

    std::string url() const { return "https://127.0.0.1:" + port_ + "/"; }

    /// Reads its output, which has what clients have sent, until `text` appears; false when it ends before.
    bool waitFor(const std::string& text, std::size_t from = 0) {
        std::array<char, 4096> buffer{};
        while (output_.find(text, from) == std::string::npos) {
            const auto count = read(out_, buffer.data(), buffer.size());
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) return false;
            output_.append(buffer.data(), static_cast<std::size_t>(count));
        }
        return true;
    }

    /// Ends it without a word to its clients. What it has received is all there afterwards.
    const std::string& kill() {
        if (process_ > 0) {
            ::kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
            process_ = -1;
            waitFor("there is no such text, so read all of it: \x01");
        }
        return output_;
    }

  private:
    void spawn(std::vector<std::string>& arguments) {
        std::array<int, 2> in{}, out{};
        if (pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0)
            throw std::runtime_error("no pipes");
        std::vector<char*> pointers(arguments.size() + 1, nullptr);
        for (std::size_t i = 0; i < arguments.size(); ++i) pointers[i] = arguments[i].data();
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in[0], 0);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        posix_spawn_file_actions_adddup2(&actions, out[1], 2);
        const int failed = posix_spawnp(&process_, "openssl", &actions, nullptr, pointers.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(in[0]);
        close(out[1]);
        input_ = in[1];
        out_ = out[0];
        if (failed != 0) throw std::runtime_error("the openssl command is missing");
    }

    pid_t process_ = -1;
    int input_ = -1;
    int out_ = -1;
    std::string output_;
    std::string port_;
};

}  // namespace Velmor
