#include "Support.hpp"
#include "service/Dates.hpp"
#include "service/Json/JsonText.hpp"
#include "service/MelArray.hpp"

#include <gmock/gmock.h>

namespace VelmorService::Testing {

TEST(Dates, ReadsInstants) {
    const std::vector<std::pair<const char*, const char*>> rows{
        // the second is empty when it is refused
        {"2024-02-29T23:59:59Z", "2024-02-29T23:59:59Z"},
        {"2024-01-01T00:00:00.999Z", "2024-01-01T00:00:00Z"},
        {"2024-01-01T00:30:00+09:00", "2023-12-31T15:30:00Z"},
        {"2024-01-01T00:30:00-0330", "2024-01-01T04:00:00Z"},
        {"1969-12-31T23:59:59Z", "1969-12-31T23:59:59Z"},
        {"2023-02-29T00:00:00Z", ""},
        {"2024-01-01T00:00:00", ""},
        {"2024-01-01T00:00:00.Z", ""},
        {"2024-01-01T00:00:00Zz", ""},
        {"2024-1-01T00:00:00Z", ""},
        {"2024-01-01", ""},
        {"", ""},
    };
    for (const auto& [text, utc] : rows) {
        const auto instant = parseInstant(text);
        EXPECT_EQ(instant ? formatInstant(*instant) : "", utc) << text;
    }
}

TEST(Dates, KnowsZonesWithAndWithoutSummerTime) {
    const auto summer = *parseInstant("2024-07-01T22:30:00Z");
    const auto winter = *parseInstant("2024-01-01T23:30:00Z");
    EXPECT_EQ(dayOf(summer, "Europe/Berlin"), "2024-07-02");
    EXPECT_EQ(utcOffset(winter, "Europe/Berlin"), 3600);
    EXPECT_EQ(dayOf(winter, "America/New_York"), "2024-01-01");
    for (const char* unknown : {"Nowhere/Land", "../../../etc/passwd", "/etc/passwd", "", "Europe"})
        EXPECT_EQ(utcOffset(winter, unknown), 0) << unknown;
}

TEST(JsonText, IsHarmlessInAPageWhateverTheBytes) {
    EXPECT_EQ(jsonText({{"b", "</script>&"}, {"a", "\x80|"}}),
              "{\"b\":\"\\u003c/script\\u003e\\u0026\",\"a\":\"\xEF\xBF\xBD|\"}");
}

TEST(HttpServer, KeepsItsLimits) {
    ServicePeer peer;
    const std::string post =
        "POST /ai/v1/users HTTP/1.1\r\nx-api-key: k\r\nTransfer-Encoding: chunked\r\n\r\n";
    const std::string half(0x800000, ' ');
    const std::vector<std::pair<std::string, std::string>> rows{
        {"HEAD / HTTP/1.1\r\n\r\n", "HTTP/1.1 200"},
        {"GET /" + std::string(8191, 'a') + " HTTP/1.1\r\n\r\n", "HTTP/1.1 404"},
        {"GET /" + std::string(8192, 'a') + " HTTP/1.1\r\n\r\n", "HTTP/1.1 414"},
        {"GET / HTTP/1.1\r\nA: " + std::string(66000, 'a') + "\r\n\r\n", "HTTP/1.1 431"},
        {post + "1\r\n{\r\n1\r\n}\r\n0\r\n\r\n", "HTTP/1.1 200"},
        {post + "400001\r\n" + std::string(0x400001, ' ') + "\r\n0\r\n\r\n", "HTTP/1.1 413"},
        {post + "1000001\r\n" + half + half + " ", ""},
    };
    for (const auto& [bytes, begin] : rows) {
        RawClient client(peer.service().port());
        client.send(bytes);
        const auto answer = client.receiveAll();
        EXPECT_EQ(answer.substr(0, 12), begin) << bytes.substr(0, 99);
        EXPECT_EQ(answer.ends_with("\r\n\r\n"), bytes.starts_with("HEAD")) << bytes.substr(0, 99);
    }
}

}  // namespace VelmorService::Testing
