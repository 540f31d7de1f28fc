// One request inside libcurl: how it is set up, what comes back, and when it has been silent for too long.
#pragma once

#include "Platform/Linux/CurlApi.hpp"
#include "Platform/Linux/SocketTable.hpp"
#include "Platform/Linux/TlsWatch.hpp"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <Velmor/Platform/Http.hpp>

namespace Velmor {

/// Confined to the transport's thread. Stays where it is: libcurl holds its address.
class CurlTransfer {
  public:
    using Instant = std::chrono::steady_clock::time_point;

    static constexpr std::size_t kMaxBody = 4U << 20U;
    static constexpr std::size_t kMaxHeaders = 64U << 10U;

    /// What the transfers of a thread share with their connections, which may outlive them.
    struct Connections {
        SocketTable sockets;
        TlsWatch tls;
    };

    /// The limits count from `sentAt`. `curl` and `connections` outlive this.
    CurlTransfer(const CurlApi& curl, HttpRequest request, const HttpOptions& options,
                 Connections& connections, Instant sentAt);
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;
    ~CurlTransfer();

    /// Null when libcurl has no memory for it.
    CURL* handle() const { return easy_.get(); }

    /// Notes whether bytes have moved since the last call.
    void observe(Instant now);
    /// When a limit passes unless bytes move before.
    Instant deadline() const;
    /// How often to observe: fine enough to tell an idle line from a slow one.
    std::chrono::milliseconds period() const;

    /// What came of it, once libcurl is done with it.
    HttpResult result(CURLcode code);
    PlatformError timedOut(Instant now) const;

  private:
    template <class Value>
    void set(CURLoption option, Value value) {
        curl_.easy_setopt(handle(), option, value);
    }
    void setUp(const HttpOptions& options);
    void setUpMethod();
    void setUpHeaders();
    void setUpTrust(const HttpOptions& options);
    void setUpCallbacks();
    bool hasHeader(std::string_view name) const;
    void addHeaderLine(const std::string& line);

    bool takeBody(std::string_view bytes);
    bool takeHeaderLine(std::string_view line);
    bool beginAnswer(std::string_view statusLine);
    curl_socket_t openSocket(const curl_sockaddr& address);
    PlatformError failure(CURLcode code) const;
    const std::string* header(std::string_view name) const;
    bool lengthsDisagree() const;
    bool wasCutOff() const;

    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
    static curl_socket_t onOpenSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
    static int onCloseSocket(void* sockets, curl_socket_t socket);
    static CURLcode onTlsContext(CURL* easy, void* context, void* self);

    const CurlApi& curl_;
    const HttpRequest request_;
    const bool loopbackOnly_;
    Connections& connections_;
    const Instant sentAt_;
    Instant lastByte_;
    std::uint64_t bytesMoved_ = 0;

    HttpResponse response_;
    std::size_t headerBytes_ = 0;  // of every response, interim ones too
    bool headersComplete_ = false;
    std::optional<PlatformError> refused_;  // why a callback ended the transfer
    std::array<char, CURL_ERROR_SIZE> message_{};
    std::unique_ptr<curl_slist, void (*)(curl_slist*)> headers_{nullptr, curl_.slist_free_all};
    std::unique_ptr<CURL, void (*)(CURL*)> easy_{nullptr, curl_.easy_cleanup};  // last: it uses all above
};

}  // namespace Velmor
