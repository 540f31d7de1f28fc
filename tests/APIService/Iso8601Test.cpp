#include "APIService/Iso8601.hpp"

#include <gtest/gtest.h>
#include <sstream>

#include <Velmor/Platform/Clock.hpp>

namespace Velmor {
namespace {

TEST(Iso8601, ReadsDatesWithFractionsAndOffsets) {
    using namespace std::chrono;
    const std::vector<std::pair<const char*, microseconds>> cases{
        {"2024-02-29T12:34:56Z", seconds(1'709'210'096)},
        {"2024-02-29T12:34:56.5Z", milliseconds(1'709'210'096'500)},
        {"2024-02-29T12:34:56.123456789999Z", microseconds(1'709'210'096'123'456)},
        {"2024-02-29T21:34:56+09:00", seconds(1'709'210'096)},
        {"2024-02-29T09:04:56-0330", seconds(1'709'210'096)},
        {"2024-02-29T13:34:56.25+01", milliseconds(1'709'210'096'250)},
        {"1969-12-31T23:59:59Z", seconds(-1)},
        {"1969-12-31T23:59:59.75Z", milliseconds(-250)},
        {"2016-12-31T23:59:60Z", seconds(1'483'228'800)},
        {"2038-01-19T03:14:08Z", seconds(2'147'483'648)},
        {"20240229T123456Z", seconds(1'709'210'096)},
        {"20240229T123456.25Z", milliseconds(1'709'210'096'250)},
        {"20240229T213456+0900", seconds(1'709'210'096)},
        {"20240229T113456-01", seconds(1'709'210'096)},
        {"2024-02-29T24:00:00Z", seconds(1'709'251'200)},
        {"20240229T240000.000+0100", seconds(1'709'247'600)},
        {"1700-01-01T00:00:00Z", seconds(-8'520'336'000)},
        {"0001-01-01T00:00:00Z", seconds(-62'135'596'800)},
        {"9999-12-31T23:59:59.999999Z", microseconds(253'402'300'799'999'999)}};
    for (const auto& [text, sinceEpoch] : cases) {
        const auto time = Iso8601::parse(text);
        ASSERT_TRUE(time) << text;
        EXPECT_EQ(time->time_since_epoch(), sinceEpoch) << text;
    }
}

TEST(Iso8601, RefusesEverythingElse) {
    std::istringstream texts(
        "|2024-02-29|2024-02-30T00:00:00Z|2023-02-29T00:00:00Z|2024-13-01T00:00:00Z|2024-00-01T00:00:00Z|"
        "2024-02-29T24:00:01Z|2024-02-29T24:01:00Z|2024-02-29T24:00:00.1Z|2024-02-29T25:00:00Z|"
        "20240229T1234Z|20240229T12:34:56Z|2024-02-29T123456Z|2024-0229T12:34:56Z|20240229123456Z|"
        "20240229T123456|20240230T123456Z|20240229T123456+01:00|20240229T123456.Z|"
        "2024-02-29T00:60:00Z|2024-02-29T00:00:61Z|2024-02-29T00:00:00|1709210096|"
        "2024-02-29 00:00:00Z|2024-02-29t00:00:00z|2024-02-29T00:00:00.Z|2024-02-29T00:00:00+24:00|"
        "2024-02-29T00:00:00+1|2024-02-29T00:00:00+01:|24-02-29T00:00:00Z|2024-2-29T00:00:00Z|"
        "+2024-02-29T00:00:00Z|2024-02-29T00:00:00ZZ| 2024-02-29T00:00:00Z|10000-01-01T00:00:00Z");
    for (std::string text; std::getline(texts, text, '|');) EXPECT_FALSE(Iso8601::parse(text)) << text;
    for (const char* text : {"", "2024-02-30", "2024-02-29T00:00:00Z", "2024-2-29", "20240229", "29-02-2024"})
        EXPECT_FALSE(Iso8601::parseDay(text)) << text;
}

TEST(Iso8601, WritesUtcWithoutFraction) {
    EXPECT_EQ(Iso8601::format(WallTime{std::chrono::milliseconds(1'709'210'096'999)}),
              "2024-02-29T12:34:56Z");
    EXPECT_EQ(Iso8601::format(WallTime{std::chrono::milliseconds(-250)}), "1969-12-31T23:59:59Z");
    EXPECT_EQ(Iso8601::format(WallTime::min()), "1677-09-21T00:12:43Z");
    for (const char* text : {"2038-01-19T03:14:08Z", "0001-01-01T00:00:00Z", "9999-12-31T23:59:59Z"}) {
        const auto time = std::chrono::floor<std::chrono::seconds>(Iso8601::parse(text).value());
        EXPECT_EQ(Iso8601::format(time), text);
        std::string plain(text, 19);
        plain[10] = ' ';
        EXPECT_EQ(Iso8601::formatPlain(time), plain);
    }
    EXPECT_EQ(Iso8601::formatDay(Iso8601::parseDay("2024-02-29").value()), "2024-02-29");
}

}  // namespace
}  // namespace Velmor
