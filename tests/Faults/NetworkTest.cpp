// Between the library and its service: answers that are none, connections that break, silence, strangers.
#include "Client.hpp"
#include "Here.hpp"
#include "sim/Garbage.hpp"

#include <gmock/gmock.h>

namespace Velmor::Faults {
namespace {

using std::chrono::milliseconds;
using Send = Peer::Send;
using Stall = Peer::Stall;
using Flood = Peer::Flood;

constexpr Peer::Reset kReset{};
constexpr Peer::Close kClose{};
const std::string kUser = R"({"result":{"user_id":"u1"}})";
const std::string kHead = "HTTP/1.1 200 OK\r\n";
const std::string kLength = kHead + "Content-Length: ";
const std::string kTen = kLength + "10\r\n\r\n";
const std::string kChunked = kHead + "Transfer-Encoding: chunked\r\n\r\n";

Steps whole(const std::string& body, const std::string& lines = {}, int status = 200) {
    return Peer::answer(status, body, lines).steps;
}

Steps redirect(int status, const std::string& to) {
    return whole("<html>", "Location: " + to + "\r\n", status);
}

Peer::Drip drip(const std::string& bytes) {
    return {bytes, milliseconds(8'000) / kHaste};
}

std::vector<Row> broken(const std::string& own, const std::string& stranger) {
    const std::string much(4096, 'x');
    return {
        {"reset/at-accept", {kReset}, "cannotConnect", 20'000'000, false},
        {"reset/before-headers", {kReset}, "cannotConnect"},
        {"reset/in-headers", {Send{kHead + "X-A: b"}, kReset}, "cannotConnect"},
        {"reset/after-headers", {Send{kTen}, kReset}, "cannotConnect"},
        {"reset/in-body", {Send{kTen + "12345"}, kReset}, "cannotConnect"},
        {"reset/closed-at-accept", {kClose}, "cannotConnect", 20'000'000, false},
        {"reset/closed-before-headers", {kClose}, "cannotConnect"},
        {"reset/closed-in-headers", {Send{kHead + "X-A: b"}, kClose}, "cannotConnect"},
        {"reset/closed-in-body", {Send{kTen + "12345"}, kClose}, "cannotConnect"},
        {"reset/closed-in-chunks", {Send{kChunked + "5\r\n12345\r\n"}, kClose}, "cannotConnect"},
        {"http/endless-body", {Send{kHead + "\r\n"}, Flood{much}}, "badResponse"},
        {"http/endless-chunks", {Send{kChunked}, Flood{"1000\r\n" + much + "\r\n"}}, "badResponse"},
        {"http/100000-headers", {Send{kHead}, Flood{"X-Header: value\r\n", 1'700'000}}, "badResponse"},
        {"http/endless-header", {Send{kHead + "X: "}, Flood{much}}, "badResponse"},
        {"http/interim-storm", {Flood{"HTTP/1.1 102 Wait\r\n\r\n"}}, "badResponse"},
        {"http/interim-only", {Send{"HTTP/1.1 100 Continue\r\n\r\n"}, kClose}, "cannotConnect"},
        {"http/interim-then-no-status-line",
         {Send{"HTTP/1.1 100 Continue\r\n\r\nhttp/1.1 404 No\r\n\r\n"}, kClose},
         "badResponse"},
        {"http/length-beyond-cap", {Send{kLength + "4194305\r\n\r\n"}, Stall{}}, "badResponse"},
        {"http/length-overflow", {Send{kLength + "99999999999999999999\r\n\r\n{}"}, Stall{}}, "badResponse"},
        {"http/length-negative", {Send{kLength + "-1\r\n\r\n{}"}}, "badResponse"},
        {"http/length-no-number", {Send{kLength + "two\r\n\r\n{}"}}, "badResponse"},
        {"http/length-too-short", {Send{kLength + "1\r\n\r\n{}"}}, "decoding "},
        {"http/two-lengths", {Send{kLength + "2\r\nContent-Length: 3\r\n\r\n{} "}}, "badResponse"},
        {"http/chunk-size-no-number", {Send{kChunked + "zz\r\n12345"}, Stall{}}, "cannotConnect"},
        {"http/chunk-size-overflow", {Send{kChunked + "ffffffffffffffffff\r\n1"}, Stall{}}, "cannotConnect"},
        {"http/no-status-line", {Send{"<html>hello</html>\r\n\r\n"}}, "badResponse"},
        {"http/status-no-number", {Send{"HTTP/1.1 abc OK\r\n\r\n"}}, "badResponse"},
        {"http/version-unknown", {Send{"HTTP/9.9 200 OK\r\n\r\n{}"}}, "badResponse"},
        {"http/0.9", {Send{"{}"}}, "badResponse"},
        {"http/zero-in-header", {Send{kHead + std::string("X: \0\r\n\r\n{}", 10)}}, "badResponse"},
        {"http/gzip-bomb", whole("\x1f\x8b\x08 not unpacked", "Content-Encoding: gzip\r\n"), "decoding "},
        {"http/204-with-body", whole("<html>", {}, 204), "upload 1"},
        {"redirect/other-origin", redirect(301, stranger), "decoding "},
        {"redirect/same-method", redirect(308, stranger), "decoding "},
        {"redirect/file", redirect(302, "file:///etc/passwd"), "decoding "},
        {"redirect/loop", redirect(307, own + "/ai/v1/users/u1"), "decoding "},
        {"redirect/refresh", whole("<html>", "Refresh: 0; url=" + stranger + "\r\n"), "decoding "},
        {"slow/steady", {Send{kLength + "2\r\n\r\n"}, Peer::Drip{"{}", milliseconds(10)}}, "upload 1"}};
}

std::vector<Row> answered() {
    std::vector<Row> rows{
        {"json/unknown-keys", whole(R"({"result":{"user_id":"u1","new":[{}]},"more":1})"), "user u1", 0},
        {"json/key-twice", whole(R"({"result":{},"result":{"user_id":"u0","user_id":"u1"}})"), "user u1", 0},
        {"json/no-result", whole("{}"), "responseResult(ai/v1/users)", 0},
        {"json/result-an-array", whole(R"({"result":[]})"), "decoding result", 0},
        {"json/key-missing", whole(R"({"result":{}})"), "decoding result.user_id", 0},
        {"json/key-null", whole(R"({"result":{"user_id":null}})"), "decoding result.user_id", 0},
        {"json/wrong-error", whole(R"({"result":{"error_code":"7"}})", {}, 400), "decoding result.error_code",
         0}};
    static Names places;
    for (const auto& each : Nights::garbage()) places.push_back(std::string("decoding ") + each.place);
    for (std::size_t i = 0; i < Nights::garbage().size(); ++i)
        rows.push_back({Nights::garbage()[i].name, whole(Nights::garbage()[i].body), places[i].c_str(), 0});
    return rows;
}

std::vector<Row> late() {
    return {{"silence/before-headers", {Stall{}}, "timedOut idle"},
            {"silence/in-request", {Stall{false}}, "timedOut idle", 20'000'000, false},
            {"silence/in-headers", {Send{kHead + "X-A: b"}, Stall{}}, "timedOut idle"},
            {"silence/in-body", {Send{kTen + "12345"}, Stall{}}, "timedOut idle"},
            {"slow/drip-in-headers", {drip(kHead + "X: " + std::string(99, 'x'))}, "timedOut total"},
            {"slow/drip-in-body", {Send{kTen}, drip(std::string(9, 'x'))}, "timedOut total"}};
}

struct Place {
    Row row;
    std::string url = {};    ///< of the peer, when it is not ours
    std::string proxy = {};  ///< that the environment names
};

std::vector<Place> elsewhere(const std::string& nobody, const std::string& deaf, const std::string& mute,
                             const std::string& gateway) {
    const std::string far = "https://service.test/";
    return {{{"refused/nobody-listens", {}, "cannotConnect"}, "http" + nobody},
            {{"silence/at-accept", {}, "timedOut idle"}, "http" + deaf},
            {{"silence/in-tls", {}, "timedOut idle"}, "https" + mute},
            {{"proxy/nobody-listens", {}, "cannotConnect"}, far, "http" + nobody},
            {{"proxy/silent", {}, "timedOut idle"}, far, "http" + mute},
            {{"proxy/denies", whole("<html>", {}, 407), "cannotConnect"}, far, gateway},
            {{"proxy/garbage", {Send{"SSH-2.0\r\n\r\n"}}, "cannotConnect"}, far, gateway},
            {{"proxy/nothing-behind", {Send{kHead + "\r\n"}, Send{"<html>"}}, "cannotConnect"}, far, gateway},
            {{"proxy/not-for-loopback", whole("{}"), "upload 1"}, {}, "http" + nobody}};
}

struct Lookup {
    Row row;
    std::string url;
    int answer;  ///< of the name server; negative for none
};

std::vector<Lookup> lookups(const std::string& deaf) {
    return {{{"dns/no-such-name", {}, "cannotConnect"}, "https://no.test/", 3},
            {{"dns/fails", {}, "cannotConnect"}, "https://fails.test/", 2},
            {{"dns/silent", {}, "timedOut idle"}, "https://silent.test/", -1},
            {{"dns/dead-addresses", {}, "timedOut idle"}, "https://many.test" + deaf, -1}};
}

constexpr std::array kForms{"status/envelope", "status/html", "status/empty", "status/no-body"};

std::string mapped(int status, std::size_t form) {
    // None of these is an answer, and none follows; but behind 101 comes whatever the peer likes.
    if (status < 200 && (status != 101 || form > 1)) return form < 2 ? "badResponse" : "cannotConnect";
    if (status == 204) return "responseResult(ai/v1/users)";
    if (form > 0 || status == 304) return "decoding ";
    return status >= 200 && status < 400 ? "user u1" : "httpStatus(" + std::to_string(status) + ", busy)";
}

TEST(NetworkFaults, BrokenAnswers) {
    Client client;
    for (const auto& row : broken(client.server.url(), client.stranger.url())) client.check(row);
}

TEST(NetworkFaults, AnswersOfAnotherForm) {
    Client client;
    for (const auto& row : answered()) client.check(row);
}

TEST(NetworkFaults, EveryStatus) {
    Client client;
    const std::string envelope = R"({"result":{"user_id":"u1","error_code":7},"detail":"busy"})";
    for (int status = 100; status < 600; ++status) {
        const Steps none{Send{"HTTP/1.1 " + std::to_string(status) + " X\r\n\r\n"}};
        const std::array steps{whole(envelope, {}, status), whole("<html>", {}, status),
                               whole("", {}, status), none};
        for (std::size_t form = 0; form < kForms.size(); ++form) {
            const auto then = mapped(status, form);
            client.check({kForms[form], steps[form], then.c_str(), 0});
        }
    }
}

TEST(Deadlines, LateAnswers) {
    Client client;
    for (const auto& row : late()) client.check(row);
}

TEST(Deadlines, PeersAndProxies) {
    unsetenv("all_proxy");
    Client client;
    Peer gateway;
    Socket nobody(SOCK_STREAM), deaf(SOCK_STREAM), mute(SOCK_STREAM);
    deaf.beDeaf();
    listen(mute.number(), 99);
    const std::string here = "://127.0.0.1";
    for (const auto& [row, url, proxy] :
         elsewhere(here + nobody.port(), here + deaf.port(), here + mute.port(), gateway.url())) {
        const Variable https("https_proxy", proxy), http("http_proxy", proxy);
        gateway.setFallback({row.steps});
        client.check(row, url);
    }
}

void answerNames(int socket, int answer) {
    std::array<unsigned char, 512> query{};
    sockaddr_in from{};
    socklen_t size = sizeof from;
    auto* peer = reinterpret_cast<sockaddr*>(&from);
    for (ssize_t got = 0; (got = recvfrom(socket, query.data(), query.size(), 0, peer, &size)) > 3;) {
        if (answer < 0) continue;
        query[2] |= 0x80U;
        query[3] = static_cast<unsigned char>(answer);
        sendto(socket, query.data(), static_cast<std::size_t>(got), 0, peer, size);
    }
}

TEST(Deadlines, Names) {
    const bool allowed = apart(CLONE_NEWNET, [] {
        unsetenv("all_proxy");
        startLoopback();
        replaceFile("/etc/resolv.conf", "nameserver 127.0.0.1\noptions timeout:99\n");
        replaceFile("/etc/hosts",
                    "127.0.0.2 many.test\n127.0.0.3 many.test\n127.0.0.4 many.test\n127.0.0.5 many.test\n");
        Socket deaf(SOCK_STREAM, INADDR_ANY);
        deaf.beDeaf();
        Client client;
        for (const auto& [row, url, answer] : lookups(deaf.port())) {
            Socket names(SOCK_DGRAM, INADDR_LOOPBACK, 53);
            std::thread server(answerNames, names.number(), answer);
            client.check(row, url);
            shutdown(names.number(), SHUT_RDWR);
            server.join();
        }
    });
    if (!allowed) GTEST_SKIP() << "a network of its own is not permitted to this user";
}

}  // namespace

Names networkNames() {
    Names names = namesOf(broken({}, {}));
    const auto add = [&](const Names& more) { names.insert(names.end(), more.begin(), more.end()); };
    add(namesOf(answered()));
    add({kForms.begin(), kForms.end()});
    add(namesOf(late()));
    for (const auto& each : elsewhere({}, {}, {}, {})) add({each.row.name});
    for (const auto& each : lookups({})) add({each.row.name});
    return names;
}

}  // namespace Velmor::Faults
