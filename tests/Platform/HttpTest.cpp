#include "../Faults/FaultServer.hpp"
#include "Platform/Linux/CurlTransport.hpp"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include <Velmor/Platform/Http.hpp>

namespace Velmor {
namespace {

using namespace std::chrono_literals;
using Kind = PlatformError::Kind;
using Faults::FaultServer;
using Clock = std::chrono::steady_clock;

constexpr auto kAtOnce = 250ms;

HttpRequest requestTo(const std::string& url) {
    return {"GET", Url::parse(url), {}, {}, 5s, 10s};
}

/// The outcome of `request`, or a failure of kind `cancelled` when none came at all.
HttpResult answerTo(HttpTransport& transport, HttpRequest request) {
    auto promise = std::make_shared<std::promise<HttpResult>>();
    auto answer = promise->get_future();
    const auto exchange = transport.send(
        std::move(request), [promise](HttpResult result) { promise->set_value(std::move(result)); });
    if (answer.wait_for(std::chrono::seconds(30)) != std::future_status::ready)
        return PlatformError(PlatformError::Kind::cancelled, "the transport never answered");
    return answer.get();
}

std::optional<PlatformError::Kind> kindOf(const HttpResult& result) {
    if (const auto* error = std::get_if<PlatformError>(&result)) return error->kind();
    return {};
}

std::string textOf(const HttpResult& result) {
    if (const auto* error = std::get_if<PlatformError>(&result))
        return std::string(error->what()) + " (" + std::to_string(error->code()) + ")";
    return std::to_string(std::get<HttpResponse>(result).status);
}

class HttpTest : public testing::Test {
  protected:
    HttpRequest request(std::string method, HttpHeaders headers = {}, std::string body = {}) const {
        auto request = requestTo(server.url() + "/a/b?c=%20d");
        request.method = std::move(method);
        request.headers = std::move(headers);
        request.body = std::move(body);
        return request;
    }

    FaultServer server;
    std::shared_ptr<HttpTransport> transport = makeHttpTransport();
};

TEST_F(HttpTest, SendsWhatItIsGivenAndNothingElse) {
    const HttpHeaders headers{{"x-api-key", "k"},
                              {"user-agent", "U/1 (x; y)"},
                              {"x-empty", ""},
                              {"Content-Type", "a/b"},
                              {"Accept", "c/d"}};
    const auto host = "Host: 127.0.0.1:" + std::to_string(server.port()) + "\r\n";
    const std::string sent =
        "x-api-key: k\r\nuser-agent: U/1 (x; y)\r\nx-empty:\r\nContent-Type: a/b\r\nAccept: c/d\r\n";
    const std::string large(300'000, '\x80');
    const std::vector<std::pair<HttpRequest, std::string>> cases{
        {request("GET"), "GET /a/b?c=%20d HTTP/1.1\r\n" + host + "\r\n"},
        {request("GET", headers), "GET /a/b?c=%20d HTTP/1.1\r\n" + host + sent + "\r\n"},
        {request("DELETE", headers), "DELETE /a/b?c=%20d HTTP/1.1\r\n" + host + sent + "\r\n"},
        {request("POST"), "POST /a/b?c=%20d HTTP/1.1\r\n" + host + "Content-Length: 0\r\n\r\n"},
        {request("POST", headers, {"a\0b\r\n", 5}), "POST /a/b?c=%20d HTTP/1.1\r\n" + host + sent +
                                                        "Content-Length: 5\r\n\r\n" +
                                                        std::string("a\0b\r\n", 5)},
        {requestTo(server.url() + "/a/../b/./c"), "GET /a/../b/./c HTTP/1.1\r\n" + host + "\r\n"},
        {request("POST", {}, large),
         "POST /a/b?c=%20d HTTP/1.1\r\n" + host + "Content-Length: 300000\r\n\r\n" + large}};
    server.setFallback(FaultServer::answer(200, "{}", "Set-Cookie: a=b; Path=/\r\n"));  // never sent back
    for (const auto& [given, bytes] : cases) {
        const auto result = answerTo(*transport, given);
        ASSERT_FALSE(kindOf(result)) << textOf(result);
        EXPECT_TRUE(server.requests().back().bytes == bytes) << server.requests().back().bytes.substr(0, 400);
    }
    EXPECT_EQ(server.connections(), cases.size()) << "a fresh connection for each";
}

TEST_F(HttpTest, SaysThatItsLibraryIsMissing) {
    for (const char* library : {"libnone.so.4", "libc.so.6"}) {
        const auto without = makeCurlTransport({}, library);
        for (int i = 0; i < 2; ++i) {
            const auto result = answerTo(*without, request("GET"));
            EXPECT_EQ(kindOf(result), Kind::cannotConnect);
            EXPECT_TRUE(textOf(result).starts_with("libcurl cannot be loaded: ")) << textOf(result);
        }
    }
}

TEST_F(HttpTest, HandsOverStatusHeadersAndBody) {
    server.enqueue(FaultServer::answer(599, "text", "X-One:  a b \r\nX-Two: 2\r\n folded\r\n"));
    const auto first = std::get<HttpResponse>(answerTo(*transport, request("GET")));
    EXPECT_EQ(first.status, 599);
    EXPECT_EQ(first.body, "text");
    EXPECT_EQ(first.headers.at(1), (std::pair<std::string, std::string>{"X-One", "a b"}));
    EXPECT_EQ(first.headers.at(2).second, "2 folded");
    server.enqueue(
        {.steps = {FaultServer::Send{"HTTP/1.1 100 Continue\r\nX-Interim: 1\r\n\r\nHTTP/1.1 204 None\r\n"
                                     "X-Final: 1\r\n\r\nunexpected"}}});
    const auto result = answerTo(*transport, request("POST"));
    EXPECT_EQ(textOf(result), "204");
    EXPECT_EQ(std::get<HttpResponse>(result).headers, (HttpHeaders{{"X-Final", "1"}}));
    server.enqueue(FaultServer::answer(200, std::string(4U << 20U, 'x')));
    EXPECT_EQ(std::get<HttpResponse>(answerTo(*transport, request("GET"))).body.size(), 4U << 20U)
        << "the cap";
}

TEST_F(HttpTest, RefusesWhatCannotBeSentSafely) {
    const std::vector<HttpRequest> bad{request("GET", {{"x", "a\r\nx-injected: 1"}}),
                                       request("GET", {{"x", "a\nb"}}),
                                       request("GET", {{"x", std::string("a\0b", 3)}}),
                                       request("GET", {{"x", "a\tb"}}),
                                       request("GET", {{"x\r\ny", "a"}}),
                                       request("GET", {{"x y", "a"}}),
                                       request("GET", {{"x:", "a"}}),
                                       request("GET", {{"", "a"}}),
                                       request("POST", {{"Content-Length", "1"}}, "ab"),
                                       request("POST", {{"transfer-encoding", "chunked"}}, "ab"),
                                       request("GET /elsewhere HTTP/1.1\r\nx: y"),
                                       request("")};
    for (const auto& given : bad)
        EXPECT_EQ(kindOf(answerTo(*transport, given)), Kind::badRequest)
            << given.method << given.headers.size();
    for (const char* url : {"http://192.0.2.1/", "http://localhost.example/", "http://127.0.0.1.example/"})
        EXPECT_EQ(kindOf(answerTo(*transport, requestTo(url))), Kind::insecure) << url;
    EXPECT_EQ(server.connections(), 0U);
}

// Sends, waits until the server has the request, and returns the exchange with nothing answered.
class HttpCancelTest : public HttpTest {
  protected:
    std::unique_ptr<HttpExchange> begin() {
        server.enqueue({.steps = {FaultServer::Stall{}}});
        const auto sent = server.requests().size();
        auto exchange = transport->send(request("GET"), [this](const HttpResult&) { ++calls; });
        EXPECT_TRUE(server.waitForRequests(sent + 1));
        return exchange;
    }
    std::atomic<int> calls{0};
};

TEST_F(HttpCancelTest, ReleasingTheExchangeClosesTheConnectionAtOnce) {
    auto exchange = begin();
    exchange.reset();
    EXPECT_TRUE(server.waitForFinished(1, kAtOnce));
    EXPECT_EQ(textOf(answerTo(*transport, request("GET"))), "200") << "others are not disturbed";
    EXPECT_EQ(calls, 0);
}

TEST_F(HttpCancelTest, EndingTheTransportGivesUpWhatIsUnderWay) {
    auto first = begin();
    auto second = begin();
    server.enqueue({.steps = {FaultServer::Stall{}}});  // it may yet be sent
    const auto third = transport->send(request("GET"), [this](const HttpResult&) { ++calls; });
    const auto start = Clock::now();
    transport.reset();
    EXPECT_LT(Clock::now() - start, kAtOnce);
    first.reset();
    EXPECT_EQ(calls, 0);
}

TEST_F(HttpCancelTest, ACompletionMayReleaseEverythingAndMayThrow) {
    const auto done = std::make_shared<std::promise<void>>();  // the thread outlives this test
    auto finished = done->get_future();
    std::unique_ptr<HttpExchange> exchange;
    std::promise<void> assigned;
    const std::weak_ptr<HttpTransport> watch = transport;
    auto* raw = transport.get();
    exchange = raw->send(
        request("GET"), [&exchange, &assigned, done, held = std::move(transport)](const HttpResult&) mutable {
            assigned.get_future().wait();
            exchange.reset();
            held.reset();
            done->set_value();
            throw 1;
        });
    assigned.set_value();
    ASSERT_EQ(finished.wait_for(20s), std::future_status::ready);
    EXPECT_TRUE(watch.expired());
}

TEST_F(HttpCancelTest, ManyThreadsSendAndGiveUpTogether) {
    std::vector<std::thread> threads;
    std::atomic<int> answered{0};
    threads.reserve(8);
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 10; ++i) {
                if ((i + t) % 3 == 0)
                    transport->send(request("GET"), [this](const HttpResult&) { ++calls; }).reset();
                else if (textOf(answerTo(*transport, request("POST", {}, "{}"))) == "200")
                    ++answered;
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(answered, 53);
}

}  // namespace
}  // namespace Velmor
