#include "Platform/Linux/CurlTransfer.hpp"

#include "Platform/Linux/HttpCheck.hpp"
#include "Runtime/Text.hpp"

#include <algorithm>
#include <netinet/in.h>
#include <new>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace Velmor {
namespace {

bool isLoopbackAddress(const sockaddr* address) {
    if (address->sa_family == AF_INET) {
        const auto* v4 = reinterpret_cast<const sockaddr_in*>(address);
        return (ntohl(v4->sin_addr.s_addr) >> 24U) == IN_LOOPBACKNET;
    }
    if (address->sa_family == AF_INET6) {
        const auto* v6 = reinterpret_cast<const sockaddr_in6*>(address);
        return IN6_IS_ADDR_LOOPBACK(&v6->sin6_addr);
    }
    return false;
}

// Callbacks return into C, where no exception may go.
template <class Result, class Code>
Result guarded(Result onFailure, Code&& code) noexcept {
    try {
        return code();
    } catch (...) {
        return onFailure;
    }
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const auto first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// 0 unless it is a status line. libcurl takes "HTTP/x 404" and "http/1.1 404" for a 200.
int statusOf(std::string_view line) {
    constexpr std::string_view kForm = "HTTP/1.d ddd", kEnds = " \r\n";
    const auto fits = [](char form, char c) { return form == 'd' ? c >= '0' && c <= '9' : form == c; };
    if (line.size() <= kForm.size() || !std::equal(kForm.begin(), kForm.end(), line.begin(), fits)) return 0;
    if (kEnds.find(line[kForm.size()]) == std::string_view::npos) return 0;
    return (line[9] - '0') * 100 + (line[10] - '0') * 10 + (line[11] - '0');
}

// After it another answer follows; 101 is the last, as what comes then is another protocol.
bool isInterim(int status) {
    return status / 100 == 1 && status != 101;
}

// Keeps sums of times from overflowing when a caller asks for "no limit".
HttpRequest withinReason(HttpRequest request) {
    constexpr std::chrono::milliseconds kLongest = std::chrono::hours{24};
    request.idleLimit = std::clamp(request.idleLimit, std::chrono::milliseconds{1}, kLongest);
    request.totalLimit = std::clamp(request.totalLimit, std::chrono::milliseconds{1}, kLongest);
    return request;
}

PlatformError::Kind kindOf(CURLcode code) {
    switch (code) {
        case CURLE_OPERATION_TIMEDOUT:
            return PlatformError::Kind::timedOut;
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_INVALIDCERTSTATUS:
            return PlatformError::Kind::insecure;
        case CURLE_URL_MALFORMAT:
            return PlatformError::Kind::badRequest;
        case CURLE_UNSUPPORTED_PROTOCOL:   // an answer without a status line
        case CURLE_BAD_FUNCTION_ARGUMENT:  // a header without a name
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_FILESIZE_EXCEEDED:
        case CURLE_WRITE_ERROR:
        case CURLE_TOO_MANY_REDIRECTS:
        case CURLE_BAD_CONTENT_ENCODING:
        case CURLE_OUT_OF_MEMORY:  // a single header line over libcurl's own limit
            return PlatformError::Kind::badResponse;
        default:
            return PlatformError::Kind::cannotConnect;
    }
}

}  // namespace

CurlTransfer::CurlTransfer(const CurlApi& curl, HttpRequest request, const HttpOptions& options,
                           Connections& connections, Instant sentAt)
    : curl_(curl),
      request_(withinReason(std::move(request))),
      loopbackOnly_(request_.url.scheme() == "http" && !options.allowClearText),
      connections_(connections),
      sentAt_(sentAt),
      lastByte_(sentAt),
      easy_(curl.easy_init(), curl.easy_cleanup) {
    if (easy_) setUp(options);
}

CurlTransfer::~CurlTransfer() {
    easy_.reset();
    connections_.sockets.removeOwner(this);
    connections_.tls.removeOwner(this);
}

void CurlTransfer::setUp(const HttpOptions& options) {
    set(CURLOPT_PRIVATE, this);
    set(CURLOPT_ERRORBUFFER, message_.data());
    set(CURLOPT_URL, request_.url.absoluteString().c_str());
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_FRESH_CONNECT, 1L);
    set(CURLOPT_FORBID_REUSE, 1L);
    set(CURLOPT_HTTP_CONTENT_DECODING, 0L);
    set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(kMaxBody));
    // Without it a name server that does not answer would hold up the end of a request for minutes.
    set(CURLOPT_QUICK_EXIT, 1L);
    set(CURLOPT_NOSIGNAL, 1L);
    // Lets libcurl share the time out between the addresses of a host; the limits themselves are ours.
    set(CURLOPT_CONNECTTIMEOUT_MS,
        static_cast<long>(std::min(request_.idleLimit, request_.totalLimit).count()));
    // The machine itself is never reached through a proxy. Elsewhere the usual variables count, and what a
    // proxy is told stays apart from what the server is told.
    if (request_.url.isLoopback()) set(CURLOPT_PROXY, "");
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    setUpMethod();
    setUpHeaders();
    setUpTrust(options);
    setUpCallbacks();
}

void CurlTransfer::setUpMethod() {
    if (!request_.body.empty() || request_.method == "POST") {
        set(CURLOPT_POST, 1L);
        set(CURLOPT_POSTFIELDS, request_.body.data());  // not copied
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
    }
    if (request_.method == "HEAD") set(CURLOPT_NOBODY, 1L);
    set(CURLOPT_CUSTOMREQUEST, request_.method.c_str());
}

void CurlTransfer::setUpHeaders() {
    for (const auto& [name, value] : request_.headers)
        addHeaderLine(
            std::string(name).append(isBlank(value) ? ";" : ": " + value));  // a semicolon: no value
    // A name without a value takes away what libcurl would add by itself.
    addHeaderLine("Expect:");
    for (const char* name : {"Accept", "Content-Type"})
        if (!hasHeader(name)) addHeaderLine(joined({name, ":"}));
    set(CURLOPT_HTTPHEADER, headers_.get());
}

bool CurlTransfer::hasHeader(std::string_view name) const {
    return std::ranges::any_of(request_.headers,
                               [name](const auto& header) { return equalIgnoringCase(header.first, name); });
}

void CurlTransfer::addHeaderLine(const std::string& line) {
    curl_slist* longer = curl_.slist_append(headers_.get(), line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    static_cast<void>(headers_.release());
    headers_.reset(longer);
}

void CurlTransfer::setUpTrust(const HttpOptions& options) {
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
    if (TlsWatch::isPossible()) {
        set(CURLOPT_SSL_CTX_FUNCTION, &onTlsContext);
        set(CURLOPT_SSL_CTX_DATA, this);
    }
    if (options.caFile.empty()) return;
    set(CURLOPT_CAINFO, options.caFile.c_str());
    set(CURLOPT_CAPATH, nullptr);  // instead of the system's, not beside them
}

void CurlTransfer::setUpCallbacks() {
    set(CURLOPT_WRITEFUNCTION, &onBody);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_HEADERFUNCTION, &onHeader);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_OPENSOCKETFUNCTION, &onOpenSocket);
    set(CURLOPT_OPENSOCKETDATA, this);
    // A connection may be closed after its transfer is gone, hence the table and not this.
    set(CURLOPT_CLOSESOCKETFUNCTION, &onCloseSocket);
    set(CURLOPT_CLOSESOCKETDATA, &connections_.sockets);
}

std::size_t CurlTransfer::onBody(char* data, std::size_t size, std::size_t count, void* self) {
    const bool taken = guarded(false, [&] {
        return static_cast<CurlTransfer*>(self)->takeBody({data, size * count});
    });
    return taken ? size * count : 0;
}

std::size_t CurlTransfer::onHeader(char* data, std::size_t size, std::size_t count, void* self) {
    const bool taken = guarded(false, [&] {
        return static_cast<CurlTransfer*>(self)->takeHeaderLine({data, size * count});
    });
    return taken ? size * count : 0;
}

curl_socket_t CurlTransfer::onOpenSocket(void* self, curlsocktype, curl_sockaddr* address) {
    return guarded<curl_socket_t>(CURL_SOCKET_BAD,
                                  [&] { return static_cast<CurlTransfer*>(self)->openSocket(*address); });
}

int CurlTransfer::onCloseSocket(void* sockets, curl_socket_t socket) {
    static_cast<SocketTable*>(sockets)->remove(socket);
    return close(socket);
}

CURLcode CurlTransfer::onTlsContext(CURL*, void* context, void* self) {
    auto* transfer = static_cast<CurlTransfer*>(self);
    return guarded(CURLE_OUT_OF_MEMORY, [&] {
        transfer->connections_.tls.watch(context, transfer);
        return CURLE_OK;
    });
}

bool CurlTransfer::takeBody(std::string_view bytes) {
    if (bytes.size() > kMaxBody - response_.body.size()) {
        refused_ = PlatformError(PlatformError::Kind::badResponse, "the answer's body is over 4 MiB");
        return false;
    }
    response_.body.append(bytes);
    return true;
}

bool CurlTransfer::takeHeaderLine(std::string_view line) {
    headerBytes_ += line.size();
    if (headerBytes_ > kMaxHeaders) {
        refused_ = PlatformError(PlatformError::Kind::badResponse, "the answer's headers are over 64 KiB");
        return false;
    }
    if (response_.status == 0 || (headersComplete_ && isInterim(response_.status))) return beginAnswer(line);
    auto& headers = response_.headers;
    const auto colon = line.find(':');
    if (line.find_first_not_of("\r\n") == std::string_view::npos) {  // blanks would fold the last header
        headersComplete_ = true;
    } else if ((line.front() == ' ' || line.front() == '\t') && !headers.empty()) {
        headers.back().second.append(" ").append(trimmed(line));  // a folded line goes on with the last
    } else if (colon != std::string_view::npos) {
        // A blank before the colon is kept, as libcurl does not take it for the header without.
        headers.emplace_back(line.substr(0, colon), trimmed(line.substr(colon + 1)));
    }
    return true;
}

bool CurlTransfer::beginAnswer(std::string_view line) {
    response_ = {statusOf(line), {}, {}};
    headersComplete_ = false;
    if (response_.status == 0)
        refused_ = PlatformError(PlatformError::Kind::badResponse, "the answer has no status line");
    return !refused_;
}

// The name of the host was judged before; whatever it resolves to, clear text does not leave the machine.
curl_socket_t CurlTransfer::openSocket(const curl_sockaddr& address) {
    if (loopbackOnly_ && !isLoopbackAddress(&address.addr)) {
        refused_ =
            PlatformError(PlatformError::Kind::insecure,
                          joined({"clear text to another machine is not allowed: ", request_.url.origin()}));
        return CURL_SOCKET_BAD;
    }
    const int opened = socket(address.family, address.socktype | SOCK_CLOEXEC, address.protocol);
    if (opened < 0) return CURL_SOCKET_BAD;
    try {
        connections_.sockets.add(opened, this);
    } catch (...) {
        close(opened);
        throw;
    }
    return opened;
}

void CurlTransfer::observe(Instant now) {
    curl_off_t up = 0;
    curl_off_t down = 0;
    curl_.easy_getinfo(handle(), CURLINFO_SIZE_UPLOAD_T, &up);
    curl_.easy_getinfo(handle(), CURLINFO_SIZE_DOWNLOAD_T, &down);
    const auto moved = connections_.sockets.bytesMoved(this) + static_cast<std::uint64_t>(up) +
                       static_cast<std::uint64_t>(down) + headerBytes_;
    if (moved == bytesMoved_) return;
    bytesMoved_ = moved;
    lastByte_ = now;
}

CurlTransfer::Instant CurlTransfer::deadline() const {
    return std::min(lastByte_ + request_.idleLimit, sentAt_ + request_.totalLimit);
}

std::chrono::milliseconds CurlTransfer::period() const {
    using std::chrono::milliseconds;
    return std::clamp(request_.idleLimit / 16, milliseconds{5}, milliseconds{250});
}

HttpResult CurlTransfer::result(CURLcode code) {
    if (refused_) return *refused_;
    if (code != CURLE_OK) return failure(code);
    // libcurl takes a connection that ends here for an answer without a body.
    if (!headersComplete_ || isInterim(response_.status))
        return PlatformError(PlatformError::Kind::cannotConnect, "the connection ended within the headers");
    if (lengthsDisagree())
        return PlatformError(PlatformError::Kind::badResponse, "the answer gives two different lengths");
    if (wasCutOff())
        return PlatformError(PlatformError::Kind::cannotConnect, "the connection ended within the answer");
    return std::move(response_);
}

bool CurlTransfer::lengthsDisagree() const {
    const std::string* first = nullptr;
    for (const auto& [name, value] : response_.headers) {
        if (!equalIgnoringCase(name, "content-length")) continue;
        if (first != nullptr && *first != value) return true;
        first = &value;
    }
    return false;
}

const std::string* CurlTransfer::header(std::string_view name) const {
    for (const auto& [given, value] : response_.headers)
        if (equalIgnoringCase(given, name)) return &value;
    return nullptr;
}

// libcurl sees to answers that tell their length or come in chunks; for any other the end of the connection
// is all there is, and over TLS it counts only when the peer has announced it.
bool CurlTransfer::wasCutOff() const {
    const int status = response_.status;
    const bool hasBody = request_.method != "HEAD" && status >= 200 && status != 204 && status != 304;
    const bool toldLength = header("content-length") != nullptr || header("transfer-encoding") != nullptr;
    return request_.url.scheme() == "https" && hasBody && !toldLength && !connections_.tls.mayBeWhole(this);
}

PlatformError CurlTransfer::failure(CURLcode code) const {
    const char* text = message_.front() != '\0' ? message_.data() : curl_.easy_strerror(code);
    return {kindOf(code), text, static_cast<int>(code)};
}

PlatformError CurlTransfer::timedOut(Instant now) const {
    const bool total = now >= sentAt_ + request_.totalLimit;
    const auto limit = total ? request_.totalLimit : request_.idleLimit;
    return {PlatformError::Kind::timedOut,
            joined({total ? "no complete answer within " : "no byte moved for ",
                    std::to_string(limit.count()), " ms"}),
            static_cast<int>(CURLE_OPERATION_TIMEDOUT)};
}

}  // namespace Velmor
