#include "HttpSupport.hpp"
#include "TlsServer.hpp"

#include <gtest/gtest.h>

namespace Velmor {
namespace {

using Kind = PlatformError::Kind;

constexpr const char* kAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
constexpr const char* kLocal = "subjectAltName=IP:127.0.0.1";

class HttpTlsTest : public testing::Test {
  protected:
    HttpResult get(const std::string& url, const std::string& caFile) {
        auto request = requestTo(url);
        request.headers = {{"x-api-key", "secret"}};
        return answerTo(*makeHttpTransport({.allowClearText = false, .caFile = caFile}), std::move(request));
    }

    TestAuthority authority;
};

TEST_F(HttpTlsTest, TrustsTheGivenRootAndNoOther) {
    const auto leaf = authority.issue(kLocal, 30);
    {
        TlsServer server(leaf, kAnswer);
        const auto result = get(server.url(), authority.root());
        ASSERT_FALSE(kindOf(result)) << textOf(result);
        EXPECT_EQ(std::get<HttpResponse>(result).body, "ok");
        EXPECT_NE(server.kill().find("x-api-key: secret"), std::string::npos);
    }
    for (const auto& caFile : {std::string(), authority.root() + ".missing", std::string("/dev/null")}) {
        TlsServer server(leaf, kAnswer);
        EXPECT_EQ(kindOf(get(server.url(), caFile)), Kind::insecure) << caFile;
        EXPECT_EQ(server.kill().find("secret"), std::string::npos);
    }
}

TEST_F(HttpTlsTest, RefusesBadCertificatesBeforeTheFirstByteOfTheRequest) {
    const auto expect = [this](const char* name, const std::string& certificate,
                               std::vector<std::string> options = {}) {
        TlsServer server(certificate, kAnswer, std::move(options));
        const auto result = get(server.url(), authority.root());
        EXPECT_TRUE(kindOf(result)) << name;
        EXPECT_EQ(server.kill().find("secret"), std::string::npos) << name;
        return kindOf(result);
    };
    EXPECT_EQ(expect("expired", authority.issue(kLocal, -1)), Kind::insecure);
    EXPECT_EQ(expect("wrong host", authority.issue("subjectAltName=DNS:velmor.example", 30)), Kind::insecure);
    EXPECT_EQ(expect("self-signed", authority.issue(kLocal, 30, true)), Kind::insecure);
    EXPECT_EQ(expect("not for servers", authority.issue("extendedKeyUsage=clientAuth", 30)), Kind::insecure);
    const std::vector<std::string> lax{"-cipher", "ALL:@SECLEVEL=0"};
    EXPECT_EQ(expect("weak key", authority.issue(kLocal, 30, false, "rsa:1024"), lax), Kind::insecure);
    expect("an old protocol", authority.issue(kLocal, 30), {"-tls1_1", "-cipher", "ALL:@SECLEVEL=0"});
}

TEST_F(HttpTlsTest, AnAnswerThatIsCutShortIsAnError) {
    TlsServer server(authority.issue(kLocal, 30),
                     "HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\nnot all of it");
    std::promise<HttpResult> promise;
    const auto transport = makeHttpTransport({.allowClearText = false, .caFile = authority.root()});
    const auto exchange = transport->send(requestTo(server.url()),
                                          [&](HttpResult result) { promise.set_value(std::move(result)); });
    ASSERT_TRUE(server.waitFor("GET /")) << "it has answered before it reads the request";
    server.kill();
    EXPECT_TRUE(kindOf(promise.get_future().get()));
}

}  // namespace
}  // namespace Velmor
