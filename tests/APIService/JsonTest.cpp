#include "../ErrorOf.hpp"
#include "APIService/Decode.hpp"
#include "APIService/Encode.hpp"
#include "APIService/RequestRecords.hpp"

#include <gtest/gtest.h>
#include <sstream>

namespace Velmor {
namespace {

TEST(Json, RefusesWhatIsNotOneJsonValue) {
    std::vector<std::string> texts{"", "{", "{} {}", "\xEF\xBB\xBF{}", "\"\xC3\x28\"", "1e999", {"{}\0", 3}};
    for (const char open : {'[', '{'}) texts.emplace_back(1'000'000, open);
    texts.push_back(std::string(129, '[') + std::string(129, ']'));
    for (const auto& text : texts)
        EXPECT_THROW(parseJson(text), DecodingError) << text.substr(0, 40) << " of " << text.size();
    EXPECT_NO_THROW(parseJson(std::string(128, '[') + std::string(128, ']')));
    std::string siblings = "[[]";
    for (int i = 0; i < 200; ++i) siblings += ",[{}]";
    EXPECT_NO_THROW(parseJson(siblings + "]"));
}

TEST(Json, KeepsIntegersExactAndTheLastOfEqualKeys) {
    const auto json = parseJson(
        R"({"a":9223372036854775807,"b":-9223372036854775808,"c":9223372036854775808,"d":[1,{"e":""}],"a2":1,"a2":2})");
    EXPECT_EQ(*json.find("a")->as<std::int64_t>(), INT64_MAX);
    EXPECT_EQ(*json.find("b")->as<std::int64_t>(), INT64_MIN);
    EXPECT_EQ(*json.find("c")->as<double>(), 9223372036854775808.0);
    EXPECT_EQ(*json.find("d")->as<Json::Array>()->at(1).find("e")->as<std::string>(), "");
    EXPECT_EQ(*json.find("a2")->as<std::int64_t>(), 2);
    EXPECT_EQ(json.find("missing"), nullptr);
}

TEST(Json, WritesRecordsInOrderAndRefusesTextThatIsNotUtf8) {
    Model::Request::CreateSession record{"\"\n\xC3\xA9", "M", WallTime{}, true, {}, "V2"};
    EXPECT_EQ(encode(record),
              "{\"service\":\"\\\"\\n\xC3\xA9\",\"upload_data_type\":\"M\","
              "\"session_start_time\":\"1970-01-01T00:00:00Z\",\"force_create\":true,\"callback_url\":null,"
              "\"callback_version\":\"V2\"}");
    EXPECT_EQ(encode(Model::Request::User{}), "{}");
    record.uploadDataType = "\xFF";
    EXPECT_THROW(encode(record), PlatformError);
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
            VelmorTests::errorOf([&] { decode(parseJson(text), JsonPath(), out), shown << out; });
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
