#include "Support.hpp"
#include "service/Dates.hpp"
#include "service/FaultServer.hpp"
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

TEST(RequestReader, RefusesWhatIsNotHttp) {
    ServicePeer peer;
    const std::string post = "POST /ai/v1/users HTTP/1.1\r\n", chunked = "Transfer-Encoding: chunked\r\n\r\n";
    const std::vector<std::pair<std::string, std::string>> rows{
        {"GET / HTTP/1.1\r\n\r\n", "200"},
        {"HEAD / HTTP/1.0\r\n\r\n", "200"},
        {"GET  / HTTP/1.1\r\n\r\n", "400"},
        {"GET / HTTP/2\r\n\r\n", "505"},
        {"GET / HTTP/1.1\r\nno colon\r\n\r\n", "400"},
        {"GET / HTTP/1.1\r\nA: b\r\n folded\r\n\r\n", "400"},
        {"GET / HTTP/1.1\r\nA : b\r\n\r\n", "400"},
        {"GET / HTTP/1.1\r\nA: b\nC: d\r\n\r\n", "400"},
        {"GET /" + std::string(9000, 'a') + " HTTP/1.1\r\n\r\n", "414"},
        {"GET / HTTP/1.1\r\nA: " + std::string(70000, 'a') + "\r\n\r\n", "431"},
        {post + "Content-Length: 2\r\nContent-Length: 3\r\n\r\n{}", "400"},
        {post + "Content-Length: -2\r\n\r\n{}", "400"},
        {post + "Content-Length: 5000000\r\n\r\n", "413"},
        {post + "Content-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n{}", "400"},
        {post + "Transfer-Encoding: gzip\r\n\r\n{}", "501"},
        {post + "x-api-key: k\r\n" + chunked + "1;x=y\r\n{\r\n1\r\n}\r\n0\r\n\r\n", "200"},
        {post + chunked + "1\r\n{}\r\n", "400"},
        {post + chunked + "ffffffffffffffff\r\n", "413"},
    };
    for (const auto& [bytes, status] : rows) {
        RawClient client(peer.service().port());
        client.send(bytes);
        EXPECT_EQ(client.receiveAll().substr(0, 12), "HTTP/1.1 " + status) << bytes.substr(0, 99);
    }
    RawClient patient(peer.service().port());
    patient.send(post + "x-api-key: k\r\nContent-Length: 2\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_EQ(patient.receive(25), "HTTP/1.1 100 Continue\r\n\r\n");
    patient.send("{}");
    EXPECT_TRUE(patient.receiveAll().starts_with("HTTP/1.1 200 OK\r\n"));
}

}  // namespace VelmorService::Testing
