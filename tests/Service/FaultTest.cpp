#include "Support.hpp"
#include "service/Fault.hpp"
#include "service/FaultServer.hpp"

#include <gmock/gmock.h>

namespace VelmorService::Testing {

using ::testing::HasSubstr;

TEST(FaultTable, CountsAndMatches) {
    FaultTable table;
    table.add({.method = "POST", .path = "/ai/*/mel-data/*", .nth = 2, .status = 503});
    table.add({.path = "*9", .status = 404});
    EXPECT_FALSE(table.next("GET", "/ai/v1/sessions/x/mel-data/1"));
    EXPECT_FALSE(table.next("POST", "/ai/v1/sessions/x/mel-data/1"));
    EXPECT_EQ(table.next("POST", "/ai/v1/sessions/x/mel-data/9")->status, 503);
    EXPECT_EQ(table.next("POST", "/ai/v1/sessions/x/mel-data/9")->status, 404);
    EXPECT_FALSE(table.next("POST", "/ai/v1/sessions/x/close"));
    EXPECT_TRUE(fitsPattern("*a*b", "xaaxb"));
    EXPECT_FALSE(fitsPattern("*a*b", "xaaxbc"));
    EXPECT_FALSE(fitsPattern("a", "ab"));
}

TEST(LocalServiceFaults, SpoilTheAnswerTheWayTheySay) {
    ServicePeer peer;
    const std::string request = "GET /ai/v1/users/a HTTP/1.1\r\nx-api-key: k\r\n\r\n";
    const auto answerWith = [&](Fault fault, bool* reset = nullptr) {
        peer.service().clearFaults();
        peer.service().addFault(std::move(fault));
        RawClient client(peer.service().port());
        client.send(request);
        auto bytes = client.receiveAll();
        if (reset != nullptr) {
            *reset = client.wasReset();
        }
        return bytes;
    };
    const std::string good = exchange(peer.service().port(), "GET", "/ai/v1/users/a", {"x-api-key: k"}).body;
    EXPECT_THAT(answerWith({.kind = Fault::Kind::Answer, .status = 503, .body = "<html>"}),
                HasSubstr("HTTP/1.1 503 "));
    EXPECT_THAT(answerWith({.kind = Fault::Kind::Delay, .time = std::chrono::milliseconds(1)}),
                HasSubstr(good));
    EXPECT_THAT(answerWith({.kind = Fault::Kind::Drip}), HasSubstr(good));
    EXPECT_EQ(answerWith({.kind = Fault::Kind::Garbage, .body = "\x01garbage"}), "\x01garbage");
    EXPECT_THAT(answerWith({.kind = Fault::Kind::WrongLength, .bytes = 7}),
                HasSubstr("Content-Length: " + std::to_string(good.size() + 7)));
    bool reset = false;
    EXPECT_EQ(answerWith({.kind = Fault::Kind::Reset, .bytes = 12}, &reset), "HTTP/1.1 200");
    EXPECT_TRUE(reset);

    peer.service().clearFaults();
    peer.service().addFault({.kind = Fault::Kind::Stall, .bytes = 8});
    RawClient client(peer.service().port());
    client.send(request);
    EXPECT_EQ(client.receive(8), "HTTP/1.1");
    peer.service().stop();
    EXPECT_EQ(client.receiveAll(), "");
}

TEST(LocalServiceFaults, SayWhetherTheRequestTookEffect) {
    ServicePeer peer;
    const auto id = peer.open();
    peer.service().addFault({.kind = Fault::Kind::Reset, .path = "*/mel-data/0", .handled = false});
    peer.service().addFault({.kind = Fault::Kind::Reset, .path = "*/mel-data/1", .handled = true});
    peer.upload(id, 0);
    peer.upload(id, 1);
    EXPECT_EQ(peer.get("/inspect/sessions/" + id + "/chunks/0").status, 404);
    EXPECT_EQ(peer.get("/inspect/sessions/" + id + "/chunks/1").status, 200);
}

TEST(FaultServer, RecordsRequestsExactly) {
    FaultServer server;
    const std::string head =
        "POST /a%20b?c=d HTTP/1.1\r\nX-One: 1\r\nx-two:  two words \r\nX-One: again\r\n"
        "Content-Length: 4\r\n\r\n";
    const std::string body("\0\r\n\xFF", 4);
    RawClient client(server.port());
    client.send(head + body);
    EXPECT_THAT(client.receiveAll(), HasSubstr("\r\n\r\n{\"result\":{}}"));
    { RawClient(server.port()).send("POST / HTTP/1.1\r\nContent-Length: 4\r\n\r\nab"); }
    ASSERT_TRUE(server.waitForRequests(2));

    const auto request = server.requests().front();
    EXPECT_TRUE(request.complete);
    EXPECT_EQ(request.bytes, head + body);
    EXPECT_EQ(request.target, "/a%20b?c=d");
    EXPECT_EQ(request.body, body);
    std::string fields;
    for (const auto& field : request.headers) {
        fields += field.name + "=" + field.value + ";";
    }
    EXPECT_EQ(fields, "X-One=1;x-two=two words;X-One=again;Content-Length=4;");
    EXPECT_FALSE(server.requests().back().complete);
}

TEST(FaultServer, FollowsItsScriptsInOrder) {
    FaultServer server;
    server.enqueue(
        {.steps = {FaultServer::Send{"HTTP/1.1 200 OK\r\n"}, FaultServer::Wait{std::chrono::milliseconds(1)},
                   FaultServer::Drip{"abc"}, FaultServer::Close{}, FaultServer::Send{"never"}}});
    server.enqueue({.steps = {FaultServer::Send{"part"}, FaultServer::Reset{}}});
    server.enqueue({.steps = {FaultServer::Flood{"0123456789", 25}}, .readRequest = false});
    server.enqueue({.steps = {FaultServer::Send{"x"}, FaultServer::Stall{}}});
    server.enqueue({.steps = {FaultServer::Stall{.readMeanwhile = false}}, .readRequest = false});
    const auto ask = [&](RawClient& client) {
        client.send("GET / HTTP/1.1\r\n\r\n");
        return client.receiveAll();
    };
    RawClient whole(server.port());
    EXPECT_EQ(ask(whole), "HTTP/1.1 200 OK\r\nabc");
    RawClient broken(server.port());
    EXPECT_EQ(ask(broken), "part");
    EXPECT_TRUE(broken.wasReset());
    RawClient mute(server.port());
    EXPECT_EQ(mute.receiveAll(), "0123456789012345678901234");
    {
        RawClient stalled(server.port());
        stalled.send("GET / HTTP/1.1\r\n\r\n");
        EXPECT_EQ(stalled.receive(1), "x");
    }
    { RawClient(server.port()).send("GET / HTTP/1.1\r\n\r\n"); }
    EXPECT_TRUE(server.waitForFinished(5)) << "a stall ends when the client leaves";
    EXPECT_EQ(server.requests().size(), 3U) << "two scripts read nothing";
}

}  // namespace VelmorService::Testing
