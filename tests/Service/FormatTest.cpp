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
        {"2024-01-01T24:00:00Z", ""},
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

TEST(JsonText, IsValidWhateverTheBytes) {
    EXPECT_EQ(jsonQuoted("a\"\\\n\x01\x7F</script>"), R"("a\"\\\n\u0001\u007f\u003c/script\u003e")");
    EXPECT_EQ(jsonQuoted("\xC3\xA9\xF0\x9F\x98\xB4"), "\"\xC3\xA9\xF0\x9F\x98\xB4\"");
    // A stray continuation, an overlong slash, a surrogate's first byte and a cut sequence.
    EXPECT_EQ(jsonQuoted("\x80|\xC0\xAF|\xE2\x82"),
              "\"\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD\"");
    EXPECT_EQ(jsonNumber(1.0 / 0.0), "null");
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
