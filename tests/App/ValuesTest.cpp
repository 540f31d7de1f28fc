#include "Reports/RecordJson.hpp"
#include "Values.hpp"

#include <gtest/gtest.h>

namespace VelmorApp {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(Durations, AreReadAndRefused) {
    const std::vector<std::pair<const char*, std::optional<Nanoseconds>>> rows{
        {"8h", seconds{28'800}},
        {"1h30m", seconds{5400}},
        {"1h5s", seconds{3605}},
        {"45s", seconds{45}},
        {"3910", seconds{3910}},
        {"0.25", milliseconds{250}},
        {"1.5h", seconds{5400}},
        {"0.123456789123s", Nanoseconds{123'456'789}},
        {"8784h", seconds{31'622'400}},
        {"", {}},
        {"h", {}},
        {"1.h", {}},
        {"-5", {}},
        {"1h30", {}},
        {"30m1h", {}},
        {"1h1h", {}},
        {"5 s", {}},
        {"8785h", {}},
        {"99999999999999999999", {}}};
    for (const auto& [text, expected] : rows) EXPECT_EQ(parseDuration(text), expected) << text;
}

TEST(Times, AreReadInTheirZoneAndRefused) {
    const Velmor::WallTime base{seconds{1'709'680'200}};  // 2024-03-05T23:10:00Z
    setenv("TZ", "Europe/Berlin", 1);
    tzset();
    const std::vector<std::pair<const char*, std::optional<Velmor::WallTime>>> rows{
        {"2024-03-05T23:10:00Z", base},
        {"2024-03-05T23:10Z", base},
        {"2024-03-05 23:10:00.250Z", base + milliseconds{250}},
        {"2024-03-06T00:40:00+01:30", base},
        {"2024-03-05T18:10:00-0500", base},
        {"2024-03-06T00:10:00", base},                              // local
        {"2024-03-31 10:00", base + std::chrono::minutes{36'530}},  // summer time since 2:00
        {"2024-02-30T00:00:00Z", {}},
        {"2024-03-05", {}},
        {"2024-03-05T25:00:00Z", {}},
        {"2024-03-05T23:10:00+1", {}},
        {"2024-03-05T23:10:00Zx", {}},
        {"9999-03-05T23:10:00Z", {}}};
    for (const auto& [text, expected] : rows) EXPECT_EQ(parseTime(text), expected) << text;
    EXPECT_EQ(localTimeText(base), "2024-03-06 00:10:00");
    const std::chrono::sys_days first = std::chrono::year{1} / 1 / 1;
    EXPECT_EQ(localTimeText(first + std::chrono::hours{12}).substr(0, 10), "0001-01-01");
}

TEST(Stretches, GoForward) {
    EXPECT_EQ(parseStretch("310-385"), (Stretch{seconds{310}, seconds{385}}));
    EXPECT_EQ(parseStretch("5m10s-6m25s"), (Stretch{seconds{310}, seconds{385}}));
    for (const char* text : {"310", "385-310", "310-310", "-5", "5-", "1-2-3"})
        EXPECT_FALSE(parseStretch(text)) << text;
}

TEST(Texts, AreForPeople) {
    EXPECT_EQ(durationText(milliseconds{300}), "0.3 s");
    EXPECT_EQ(durationText(seconds{59}), "59 s");
    EXPECT_EQ(durationText(seconds{90}), "1 min 30 s");
    EXPECT_EQ(durationText(seconds{28'800}), "8 h 00 min");
    EXPECT_EQ(durationText(seconds{3910}), "1 h 05 min 10 s");
    EXPECT_EQ(rangesText({0, 1, 2, 4, 7, 8}), "0-2, 4, 7-8");
    EXPECT_EQ(rangesText({}), "");
}

TEST(Json, KeepsTheDigitsOfFloatsAndReplacesBytesThatAreNotUtf8) {
    EXPECT_EQ(jsonLine({{"b", valueJson(0.1F)}, {"a", "\xFF"}}), "{\"b\":0.1,\"a\":\"\xEF\xBF\xBD\"}\n");
}

}  // namespace
}  // namespace VelmorApp
