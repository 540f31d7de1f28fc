#include "Support.hpp"

#include <gmock/gmock.h>

namespace VelmorService::Testing {

TEST(Reports, CountMissingChunksFromTimesAndNumbers) {
    // Expected are the whole half minutes from start to end, or as many as the highest number says.
    const std::vector<std::tuple<const char*, std::vector<int>, double>> rows{
        {"2024-01-31T14:05:29Z", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 0.0},
        {"2024-01-31T14:05:00Z", {4, 0, 1, 3, 3}, 0.6},
        {"2024-01-31T14:00:29Z", {0, 1}, 0.0},
        {"2024-01-31T14:00:29Z", {3}, 0.75},
        {"2024-01-31T14:00:29Z", {}, 0.0},
        {"2024-01-31T15:00:00Z", {}, 1.0},
    };
    ServicePeer peer;
    json report;
    for (const auto& [end, numbers, ratio] : rows) {
        const auto id = peer.open("2024-01-31T14:00:00Z");
        for (const int number : numbers) peer.upload(id, number);
        peer.close(id, end);
        report = resultOf(peer.get("/data/v3/sessions/" + id));
        EXPECT_DOUBLE_EQ(report.at("missing_data_ratio").get<double>(), ratio) << end << ' ' << report;
    }
    // That of a long session knows the time in bed and nothing else.
    EXPECT_EQ(report.at("peculiarities"), json::array());
    EXPECT_EQ(report.at("stat"), json({{"time_in_bed", 3600}}));
}

TEST(Reports, ListSessionsByLocalDayInPages) {
    ServicePeer peer;
    // In Seoul, nine hours ahead: 31 January 23:30, 1 February 00:30, 1 February 23:00.
    const auto first = peer.open("2024-01-31T14:30:00Z");
    peer.upload(first, 5);
    peer.close(first, "2024-01-31T15:00:00Z");
    const auto second = peer.open("2024-01-31T15:30:00Z");
    peer.close(second, "2024-01-31T16:30:00Z");
    const auto third = peer.open("2024-02-01T14:00:00Z");
    peer.user = "other";
    peer.open("2024-02-01T14:00:00Z");
    peer.user = "tester";

    const std::vector<std::pair<std::string, std::vector<std::string>>> rows{
        {"?date_gte=2024-01-31&date_lte=2024-01-31&order_by=ASC&offset=0&limit=10", {first}},
        {"?date_gte=2024-02-01&date_lte=2024-02-01&order_by=ASC&offset=0&limit=10", {second, third}},
        {"?date_gte=2024-01-01&date_lte=2024-12-31&order_by=DESC&offset=0&limit=10", {third, second, first}},
        {"?date_gte=2024-01-01&date_lte=2024-12-31&order_by=DESC&offset=1&limit=1", {second}},
        {"?date_gte=2024-01-01&date_lte=2024-12-31&order_by=ASC&offset=3&limit=10", {}},
        {"?date_gte=2024-01-01&date_lte=2024-12-31&order_by=ASC&offset=0&limit=0", {}},
        {"?date_gte=2024-03-01&date_lte=2024-03-31&order_by=ASC&offset=0&limit=10", {}},
    };
    for (const auto& [query, ids] : rows) {
        std::vector<std::string> found;
        const auto list = resultOf(peer.get("/data/v1/sessions" + query));
        for (const auto& entry : list.at("sleep_session_list")) found.push_back(entry.at("session_id"));
        EXPECT_EQ(found, ids) << query;
    }
    const auto page = resultOf(peer.get("/data/v1/sessions?order_by=ASC&limit=1"));
    EXPECT_EQ(page.at("sleep_session_list").at(0), json({{"session_id", first},
                                                         {"state", "CLOSED"},
                                                         {"session_start_time", "2024-01-31T14:30:00Z"},
                                                         {"session_end_time", "2024-01-31T15:00:00Z"},
                                                         {"created_timezone", "Asia/Seoul"},
                                                         {"last_received_seq_num", 5},
                                                         {"time_in_bed", 1800}}));
    for (const char* bad : {"?date_gte=2024-02-30", "?date_lte=yesterday", "?date_gte=2024-01-01T00:00:00Z",
                            "?order_by=asc", "?offset=-1", "?limit=1001", "?limit=ten"})
        EXPECT_EQ(peer.get(std::string("/data/v1/sessions") + bad).status, 400) << bad;
}

TEST(Reports, AverageSaysWhatItCannotAverage) {
    ServicePeer peer;
    peer.close(peer.open("2024-01-31T14:30:00Z"), "2024-01-31T14:40:00Z");
    peer.close(peer.open("2024-02-01T14:30:00Z"), "2024-02-01T14:40:00Z");
    peer.open("2024-02-02T14:30:00Z");
    const auto target = [](const char* from, const char* to) {
        return std::string("/data/v1/users/tester/average-stats?start_date=") + from + "&end_date=" + to;
    };
    EXPECT_EQ(resultOf(peer.get(target("2024-01-31", "2024-02-02"))),
              json({{"period",
                     {{"timezone", "Asia/Seoul"}, {"start_date", "2024-01-31"}, {"end_date", "2024-02-02"}}},
                    {"peculiarities", {"TOO_SHORT_FOR_ANALYSIS", "IN_PROGRESS"}},
                    {"never_slept_sessions", json::array()},
                    {"slept_sessions", json::array()}}));
    EXPECT_EQ(resultOf(peer.get(target("2023-01-31", "2023-02-02"))).at("peculiarities"), json::array());
    EXPECT_EQ(peer.get(target("2024-02-02", "2024-01-31")).status, 400);
    EXPECT_EQ(peer.get("/data/v1/users/tester/average-stats").status, 400);
}

TEST(Reports, MockTakesAWholeNightAndKeepsNothing) {
    ServicePeer peer;
    const std::string end = R"({"session_end_time":"2024-01-01T01:00:00Z","unexpected":false})";
    EXPECT_EQ(resultOf(peer.get("/mock/ai/v1/users/me")).at("user_id"), "me");
    EXPECT_EQ(peer.post("/mock/ai/v1/users", "{}").status, 200);
    EXPECT_EQ(peer.post("/mock/ai/v1/sessions", sessionBody("2024-01-01T00:00:00Z")).status, 200);
    for (const auto& [npy, status] : {std::pair(melFile(), 200), {"nonsense", 400}})
        EXPECT_EQ(peer.upload("s", "0", melForm(npy), "/mock").status, status);
    EXPECT_EQ(peer.post("/mock/ai/v1/sessions/s/close", end).status, 200);
    EXPECT_EQ(resultOf(peer.get("/inspect/sessions")), json::array());
}

}  // namespace VelmorService::Testing
