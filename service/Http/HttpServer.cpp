#include "service/Http/HttpServer.hpp"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <microhttpd.h>
#include <netinet/in.h>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace VelmorService {

namespace {

/// A client sends one request at a time; the rest is room for a browser's spare connections and for stalled
/// tests.
constexpr unsigned kMostConnections = 16;
/// Longest silence of a client.
constexpr unsigned kPatienceSeconds = 10;
/// Longest head of a request; blocks of its body come through what the head leaves of this memory.
constexpr std::size_t kConnectionMemory = 64 * 1024;
/// A longer body is dropped while it arrives. It is read all the same, because a client that sends everything
/// before it listens would lose an early answer together with the connection.
constexpr std::size_t kLongestBody = 4 * 1024 * 1024;
constexpr std::size_t kLongestDroppedBody = 16 * 1024 * 1024;

/// One request on its way in and its answer on the way out.
struct Exchange {
    RawRequest request;
    std::size_t received = 0;  ///< bytes of the body
    Response response;
};

/// The library's first call for a request, and the only one that sees the target as it was sent.
void* beginExchange(void*, const char* target, MHD_Connection*) {
    try {
        auto exchange = std::make_unique<Exchange>();
        exchange->request.target = target;
        return exchange.release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void endExchange(void*, MHD_Connection*, void** context, MHD_RequestTerminationCode) {
    delete static_cast<Exchange*>(*context);
    *context = nullptr;
}

MHD_Result keepField(void* fields, MHD_ValueKind, const char* name, const char* value) {
    try {
        static_cast<std::vector<HeaderField>*>(fields)->push_back({name, value == nullptr ? "" : value});
        return MHD_YES;
    } catch (const std::bad_alloc&) {  // the fields that are missing have the request refused
        return MHD_NO;
    }
}

MHD_Result takeBody(Exchange& exchange, std::string_view block) {
    exchange.received += block.size();
    exchange.request.bodyTooLong = exchange.received > kLongestBody;
    if (exchange.request.bodyTooLong) {
        exchange.request.body.clear();
    } else {
        exchange.request.body += block;
    }
    return exchange.received <= kLongestDroppedBody ? MHD_YES : MHD_NO;
}

MHD_Result send(MHD_Connection* connection, Response& response) {
    MHD_Response* answer =
        MHD_create_response_from_buffer(response.body.size(), response.body.data(), MHD_RESPMEM_PERSISTENT);
    if (answer == nullptr) {
        return MHD_NO;
    }
    MHD_add_response_header(answer, "Content-Type", response.contentType.c_str());
    for (const auto& field : response.headers) {
        MHD_add_response_header(answer, field.name.c_str(), field.value.c_str());
    }
    MHD_add_response_header(answer, "Cache-Control", "no-store");
    MHD_add_response_header(answer, "X-Content-Type-Options", "nosniff");
    MHD_add_response_header(answer, "Connection", "close");
    const auto queued = MHD_queue_response(connection, static_cast<unsigned>(response.status), answer);
    MHD_destroy_response(answer);
    return queued;
}

/// Called with the head of a request, then with each block of its body, and once more at its end. MHD_NO
/// closes the connection. No exception may pass through the library, which is written in C.
MHD_Result takeRequest(void* handler, MHD_Connection* connection, const char*, const char* method,
                       const char*, const char* block, std::size_t* size, void** context) {
    if (*context == nullptr) {
        return MHD_NO;
    }
    auto& exchange = *static_cast<Exchange*>(*context);
    try {
        if (exchange.request.method.empty()) {
            exchange.request.method = method;
            MHD_get_connection_values(connection, MHD_HEADER_KIND, keepField, &exchange.request.headers);
            return MHD_YES;
        }
        if (*size > 0) {
            return takeBody(exchange, {block, std::exchange(*size, 0)});
        }
        exchange.response = (*static_cast<HttpServer::Handler*>(handler))(std::move(exchange.request));
        return send(connection, exchange.response);
    } catch (const std::exception&) {
        return MHD_NO;
    }
}

MHD_Daemon* startDaemon(std::uint16_t port, HttpServer::Handler& handler) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // The clock of this machine is never read, so there is no "Date".
    constexpr unsigned kFlags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_ITC | MHD_USE_SUPPRESS_DATE_NO_CLOCK;
    return MHD_start_daemon(kFlags, port, nullptr, nullptr, takeRequest, &handler,  //
                            MHD_OPTION_SOCK_ADDR, &address,                         //
                            MHD_OPTION_URI_LOG_CALLBACK, beginExchange, nullptr,    //
                            MHD_OPTION_NOTIFY_COMPLETED, endExchange, nullptr,      //
                            MHD_OPTION_CONNECTION_LIMIT, kMostConnections,          //
                            MHD_OPTION_CONNECTION_TIMEOUT, kPatienceSeconds,        //
                            MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionMemory,  //
                            MHD_OPTION_END);
}

}  // namespace

HttpServer::HttpServer(std::uint16_t port, Handler handler)
    : handler_(std::move(handler)), daemon_(startDaemon(port, handler_)) {
    if (daemon_ == nullptr) {
        const int error = errno;
        throw std::runtime_error("cannot listen on 127.0.0.1 port " + std::to_string(port) + ": " +
                                 std::generic_category().message(error));
    }
    port_ = MHD_get_daemon_info(daemon_.get(), MHD_DAEMON_INFO_BIND_PORT)->port;
}

HttpServer::~HttpServer() = default;

void HttpServer::Stop::operator()(MHD_Daemon* daemon) const {
    MHD_stop_daemon(daemon);
}

std::string HttpServer::url() const {
    return "http://127.0.0.1:" + std::to_string(port_);
}

}  // namespace VelmorService
