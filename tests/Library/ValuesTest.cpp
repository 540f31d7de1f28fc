// The values of the public interface: URL, configuration, errors.
#include <gtest/gtest.h>
#include <stdexcept>

#include <Velmor/Config.hpp>
#include <Velmor/Error.hpp>
#include <Velmor/Url.hpp>

namespace Velmor {
namespace {

TEST(Url, PartsAreReadAsWritten) {
    const auto url = Url::parse("HTTPS://Example.org:8443/api/v2?x=1#y").value();
    EXPECT_EQ(url.absoluteString(), "HTTPS://Example.org:8443/api/v2?x=1#y");
    EXPECT_EQ(url.scheme(), "https");
    EXPECT_EQ(url.host(), "Example.org");
    EXPECT_EQ(url.port(), 8443);
    EXPECT_EQ(url.path(), "/api/v2");
    EXPECT_EQ(url.replacingPath("/mock").absoluteString(), "HTTPS://Example.org:8443/mock?x=1#y");
    EXPECT_EQ(url.appending("ai/v1/users").absoluteString(), "HTTPS://Example.org:8443/api/v2/ai/v1/users");
    EXPECT_EQ(Url::parse("http://h/")->appending("a?b=c").absoluteString(), "http://h/a?b=c");
    EXPECT_EQ(Url::parse("http://[::1]:80")->host(), "::1");
}

TEST(Url, WhatIsNoHttpUrlIsRefused) {
    for (const char* text :
         {"", "http://", "http:///path", "//host", "host/path", "ftp://host", "file:///etc",
          "http://user@host", "http://host:99999", "http://host:x", "http://ho st", "http://host/a b",
          "http://host/\r\nX: y", "http://host/\x7f", "http://[::1", "http://[zz]", "http://[::1]x",
          "http://h\xc3\xa9", "javascript://x"})
        EXPECT_FALSE(Url::parse(text)) << text;
    EXPECT_FALSE(Url::parse(std::string_view("http://h/\0x", 11)));
}

TEST(Url, OnlyThisMachineIsLoopback) {
    for (const char* text : {"http://localhost", "http://LocalHost:1/x", "http://127.0.0.1",
                             "http://127.9.9.9:80", "http://[::1]/"})
        EXPECT_TRUE(Url::parse(text)->isLoopback()) << text;
    for (const char* text : {"http://127.0.0.1.evil.example", "http://localhost.example", "http://128.0.0.1",
                             "http://127.0.0.1x", "http://[::2]", "http://127."})
        EXPECT_FALSE(Url::parse(text)->isLoopback()) << text;
}

TEST(Config, BaseUrlFollowsDeveloperModeAtConstruction) {
    const auto given = Url::parse("http://localhost:81/api/v2");
    const auto resolved = [](const std::optional<Url>& base, bool mode) {
        DeveloperMode::setOn(mode);
        const Config config("key", "", base);
        DeveloperMode::setOn(!mode);  // too late for this one
        EXPECT_EQ(config, Config(config));
        DeveloperMode::setOn(false);
        return config.baseUrl().absoluteString();
    };
    EXPECT_EQ(resolved(given, false), "http://localhost:81/api/v2");
    EXPECT_EQ(resolved(given, true), "http://localhost:81/mock");
    EXPECT_EQ(resolved({}, false), "https://api.velmor.example");
    EXPECT_EQ(resolved({}, true), "https://api.velmor.example/mock");
}

TEST(Config, AnotherUserKeepsTheRest) {
    const Config config("key", "", Url::parse("http://localhost"), Url::parse("http://callback"), "svc");
    const Config joined = config.withUserId("u1");
    EXPECT_EQ(joined.userId(), "u1");
    EXPECT_EQ(joined.apiKey(), "key");
    EXPECT_EQ(joined.baseUrl(), config.baseUrl());
    EXPECT_EQ(joined.callbackUrl(), config.callbackUrl());
    EXPECT_EQ(joined.service(), "svc");
}

TEST(VelmorError, DescriptionsAreTheOnesOfTheLog) {
    const auto system =
        std::make_exception_ptr(PlatformError(PlatformError::Kind::timedOut, "no answer for 15 s"));
    const struct {
        VelmorError error;
        const char* text;
    } rows[] = {
        {VelmorError::startTrackingNetworkFail{-1, "x"}, "startTrackingNetworkFail(-1, x)"},
        {VelmorError::stopTrackingNetworkFail{-9999, ""}, "stopTrackingNetworkFail(-9999, )"},
        {VelmorError::httpStatus{401, 1002, {}}, "httpStatus(401, )"},
        {VelmorError::responseResult{"ai/v1/users"}, "responseResult(ai/v1/users)"},
        {VelmorError::unknown{system}, "unknown(no answer for 15 s)"},
        {VelmorError::unknown{std::make_exception_ptr(3)}, "unknown(not a std::exception)"},
        {VelmorError::shouldResume{}, "shouldResume"},
        {VelmorError::over24hours{}, "over24hours"},
        {VelmorError::audioInitializationFailed{}, "audioInitializationFailed"},
        {VelmorError::unsupportedInDeveloperMode{}, "unsupportedInDeveloperMode"},
        {VelmorError::cannotActivateInBackground{}, "cannotActivateInBackground"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.error.description(), row.text);
        EXPECT_STREQ(row.error.what(), row.text);
    }
}

TEST(VelmorError, CaughtExceptionsKeepTheirCase) {
    const auto same = VelmorError::from(std::make_exception_ptr(VelmorError(VelmorError::shouldResume{})));
    EXPECT_TRUE(same.is<VelmorError::shouldResume>());
    const auto other =
        VelmorError::from(std::make_exception_ptr(DecodingError("result.stat", "not an object")));
    ASSERT_TRUE(other.is<VelmorError::unknown>());
    EXPECT_EQ(other.description(), "unknown(cannot decode result.stat: not an object)");
    EXPECT_THROW(std::rethrow_exception(other.as<VelmorError::unknown>()->systemError), DecodingError);
}

}  // namespace
}  // namespace Velmor
