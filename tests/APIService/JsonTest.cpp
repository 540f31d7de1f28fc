#include "../ErrorOf.hpp"
#include "APIService/Decode.hpp"

#include <gtest/gtest.h>
#include <sstream>

namespace Velmor {
namespace {

TEST(Json, RefusesWhatIsNotOneJsonValue) {
    std::istringstream simple(
        "~ ~<html></html>~{~{\"a\":}~[1,]~{} {}~{'a':1}~NaN~Infinity~01~1e999~// x\n1~\xEF\xBB\xBF{}~"
        "\"\xC3\x28\"~\"\xED\xA0\x80\"~\"\\ud800\"~\"\\udfff\"~\"\\udc00\\udc00\"~\"\\ud800\\ue000\"~"
        "\"a\nb\"~"
        "\"\\u00e\"~\"\\x\"~-~1.~1e~[1 2]~{\"a\" 1}~tru~\"a");
    std::vector<std::string> texts{{"{}\0", 3}, std::string(129, '[') + std::string(129, ']')};
    for (const char open : {'[', '{'}) texts.emplace_back(1'000'000, open);
    for (std::string text; std::getline(simple, text, '~');) texts.push_back(text);
    for (const auto& text : texts)
        EXPECT_THROW(Json::parse(text), DecodingError) << text.substr(0, 40) << " of " << text.size();
    EXPECT_NO_THROW(Json::parse(std::string(128, '[') + std::string(128, ']')));
    std::string siblings = "[[]";
    for (int i = 0; i < 200; ++i) siblings += ",[]";
    EXPECT_NO_THROW(Json::parse(siblings + "]"));
}

TEST(Json, KeepsIntegersExactAndTheLastOfEqualKeys) {
    const auto json = Json::parse(R"({"a":9223372036854775807,"b":-9223372036854775808,
        "c":9223372036854775808,"d":1.5,"a2":1,"a2":2,
        "e":"\"\\\/\b\f\n\r\t\u007f\u0080\u07ff\u0800\ud7ff\uffff\ud800\udc00\udbff\udfff"})");
    EXPECT_EQ(*json.find("a")->as<std::int64_t>(), INT64_MAX);
    EXPECT_EQ(*json.find("b")->as<std::int64_t>(), INT64_MIN);
    EXPECT_EQ(*json.find("c")->as<double>(), 9223372036854775808.0);
    EXPECT_EQ(*json.find("a2")->as<std::int64_t>(), 2);
    EXPECT_EQ(
        *json.find("e")->as<std::string>(),
        "\"\\/"
        "\b\f\n\r\t\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
    EXPECT_EQ(json.find("missing"), nullptr);
}

TEST(Json, WritesInOrderAndRefusesTextThatIsNotUtf8) {
    EXPECT_EQ(Json::write(Json::Object{{"z", Json()},
                                       {"a", true},
                                       {"n", std::int64_t{-1}},
                                       {"t", "a\"\n\xC3\xA9"},
                                       {"l", Json::Array{1.5, std::optional<std::string>()}}}),
              "{\"z\":null,\"a\":true,\"n\":-1,\"t\":\"a\\\"\\n\xC3\xA9\",\"l\":[1.5,null]}");
    EXPECT_THROW(Json::write(Json::Object{{"a", "\xFF"}}), PlatformError);
}

TEST(Decode, NumbersFitTheirFieldOrSayWhyNot) {
    const std::string wide = "cannot decode: is out of range",
                      fraction = "expected an integer, found a fraction";
    const std::vector<std::tuple<const char*, std::string, std::string>> cases{
        {"7", "7", "7"},
        {"3.0", "3", "3"},
        {"3e2", "300", "300"},
        {"0.5", "cannot decode: " + fraction, "0.5"},
        {"9223372036854775807", "9223372036854775807", "9.22337e+18"},
        {"9223372036854775808", wide, "9.22337e+18"},
        {"-9223372036854775809", "-9223372036854775808", "-9.22337e+18"},
        {"3.4028234e38", wide, "3.40282e+38"},
        {"3.4028236e38", wide, wide},
        {"-1e39", wide, wide}};
    const auto read = [](const char* text, auto out) {
        std::ostringstream shown;
        const auto error =
            VelmorTests::errorOf([&] { decode(Json::parse(text), JsonPath(), out), shown << out; });
        return error + shown.str();
    };
    for (const auto& [text, integer, number] : cases) {
        EXPECT_EQ(read(text, std::int64_t{}), integer) << text;
        EXPECT_EQ(read(text, float{}), number) << text;
    }
    for (const auto& [text, kind] : std::vector<std::pair<const char*, std::string>>{{"\"7\"", "a string"},
                                                                                     {"true", "a boolean"},
                                                                                     {"null", "null"},
                                                                                     {"[7]", "an array"},
                                                                                     {"{}", "an object"}}) {
        EXPECT_EQ(read(text, std::int64_t{}), "cannot decode: expected an integer, found " + kind);
        EXPECT_EQ(read(text, float{}), "cannot decode: expected a number, found " + kind);
    }
    EXPECT_EQ(read("7", std::string()), "cannot decode: expected a string, found an integer");
    EXPECT_EQ(read("7.5", std::string()), "cannot decode: expected a string, found a number");
}

}  // namespace
}  // namespace Velmor
