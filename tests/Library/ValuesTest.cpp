// The values of the public interface: URL, configuration, errors.
#include "../ErrorOf.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Velmor/Config.hpp>
#include <Velmor/Error.hpp>
#include <Velmor/Url.hpp>

namespace Velmor {
namespace {

TEST(Url, PartsAreReadAsWritten) {
    const auto url = Url::parse("HTTPS://Example.org:8443/api/v2?x=1#y");
    EXPECT_EQ(url.absoluteString(), "HTTPS://Example.org:8443/api/v2?x=1#y");
    EXPECT_EQ(url.scheme(), "https");
    EXPECT_EQ(url.host(), "Example.org");
    EXPECT_EQ(url.port(), 8443);
    EXPECT_EQ(url.path(), "/api/v2");
    EXPECT_EQ(url.replacingPath("/mock").absoluteString(), "HTTPS://Example.org:8443/mock?x=1#y");
    EXPECT_EQ(url.origin(), "HTTPS://Example.org:8443");
    EXPECT_EQ(Url::parse("http://[::1]:80").host(), "::1");
}

TEST(Url, AppendingJoinsPathsAndQueriesAndDropsTheFragment) {
    const char* const rows[][3] = {{"https://h", "a", "https://h/a"},
                                   {"https://h/", "a?b=c", "https://h/a?b=c"},
                                   {"https://h/v2?t=1#f", "a/b", "https://h/v2/a/b?t=1"},
                                   {"https://h/v2/?t=1&u=/?", "a?b=c&d=?", "https://h/v2/a?t=1&u=/?&b=c&d=?"},
                                   {"https://h?t=1", "a?b=c", "https://h/a?t=1&b=c"},
                                   {"https://h/v2?", "a?b=c", "https://h/v2/a?b=c"},
                                   {"https://h/v2?#f?x", "a", "https://h/v2/a"},
                                   {"https://h#/x?y", "a", "https://h/a"}};
    for (const auto& [base, appended, whole] : rows)
        EXPECT_EQ(Url::parse(base).appending(appended).absoluteString(), whole);
}

TEST(Url, WhatIsNoHttpUrlIsRefused) {
    for (const char* text :
         {"", "http://", "http:///path", "//host", "host/path", "ftp://host", "file:///etc",
          "http://user@host", "http://host:99999", "http://host:x", "http://ho st", "http://host/a b",
          "http://host/\r\nX: y", "http://host/\x7f", "http://[::1", "http://[zz]", "http://[::1]x",
          "http://h\xc3\xa9", "javascript://x"})
        EXPECT_FALSE(Url::tryParse(text)) << text;
    const auto refusal = [](std::string_view text) -> std::string {
        try {
            return Url::parse(text).absoluteString();
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.kind(), PlatformError::Kind::badRequest);
            return error.what();
        }
    };
    EXPECT_EQ(refusal("htps://api.example.com"),
              "\"htps://api.example.com\" is not an absolute http or https URL, such as "
              "\"https://api.example.org\"");
    EXPECT_THAT(refusal("a\nb\x7f"), testing::StartsWith("\"a?b?\" is not "));
    EXPECT_THAT(refusal("\xff"), testing::StartsWith("a text that is not UTF-8 is not "));
    EXPECT_THAT(refusal(std::string(201, 'x')),
                testing::StartsWith("\"" + std::string(200, 'x') + "...\" is"));
    EXPECT_FALSE(Url::tryParse(std::string_view("http://h/\0x", 11)));
}

TEST(Url, OnlyThisMachineIsLoopback) {
    for (const char* text : {"http://localhost", "http://LocalHost:1/x", "http://127.0.0.1",
                             "http://127.9.9.9:80", "http://[::1]/"})
        EXPECT_TRUE(Url::parse(text).isLoopback()) << text;
    for (const char* text : {"http://127.0.0.1.evil.example", "http://localhost.example", "http://128.0.0.1",
                             "http://127.0.0.1x", "http://[::2]", "http://127."})
        EXPECT_FALSE(Url::parse(text).isLoopback()) << text;
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

TEST(Config, TextsThatCannotTravelAreRefused) {
    const auto refusal = [](const std::string& key, const std::string& user, const std::string& service) {
        return VelmorTests::errorOf<PlatformError>([&] { Config(key, user, {}, {}, service); });
    };
    EXPECT_EQ(refusal("key\n", "u", "s"), "the API key holds a control character");
    EXPECT_EQ(refusal("key", "u\x7f", "s"), "the user id holds a control character");
    EXPECT_EQ(refusal("key", "u", "\xff"), "the service's name is not UTF-8");
    const Config config("key", "u", {});
    EXPECT_THROW(config.withUserId("\r\nx-admin: 1"), PlatformError);
}

// The cases with values are in the tests of whoever tells them.
TEST(VelmorError, DescriptionsAreTheOnesOfTheLog) {
    EXPECT_STREQ(VelmorError(VelmorError::shouldResume{}).what(), "shouldResume");
    EXPECT_STREQ(VelmorError(VelmorError::over24hours{}).what(), "over24hours");
    EXPECT_EQ(VelmorError::from(std::make_exception_ptr(3)).description(), "unknown(not a std::exception)");
}

}  // namespace
}  // namespace Velmor
