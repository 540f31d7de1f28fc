#include "../ErrorOf.hpp"
#include "Support.hpp"
#include "service/LocalService.hpp"

#include <chrono>
#include <fstream>
#include <gmock/gmock.h>
#include <mutex>

namespace VelmorService::Testing {

namespace {

using ::testing::HasSubstr;

void expectError(const Answer& answer, int status, int code, const std::string& detail) {
    EXPECT_EQ(answer.status, status) << answer.body;
    EXPECT_EQ(resultOf(answer), json({{"error_code", code}}));
    EXPECT_THAT(json::parse(answer.body, nullptr, false).value("detail", ""), HasSubstr(detail));
}

}  // namespace

TEST(LocalService, TracksANightFromJoinToReport) {
    ServicePeer peer;
    const auto joined = resultOf(peer.post("/ai/v1/users", "{}"));
    peer.user = joined.at("user_id");
    EXPECT_FALSE(joined.contains("last_session_info"));

    const auto id = peer.open("2024-01-31T23:00:00+09:00");
    for (int sequence = 0; sequence < 3; ++sequence)
        EXPECT_EQ(peer.upload(id, sequence).body, R"({"result":{}})");
    const auto during = resultOf(peer.get("/data/v3/sessions/" + id));
    EXPECT_EQ(during.at("peculiarities"), json({"IN_PROGRESS"}));
    EXPECT_EQ(during.at("session").at("state"), "OPEN");

    EXPECT_EQ(peer.close(id, "2024-01-31T14:01:45Z").body, R"({"result":{}})");
    peer.restart();  // it forgets nothing
    EXPECT_EQ(resultOf(peer.get("/ai/v1/users/" + peer.user)).at("last_session_info").at("state"), "CLOSED");
    const auto report = resultOf(peer.get("/data/v3/sessions/" + id));
    EXPECT_EQ(report, json({{"timezone", "Asia/Seoul"},
                            {"peculiarities", {"TOO_SHORT_FOR_ANALYSIS"}},
                            {"missing_data_ratio", 0.0},
                            {"session",
                             {{"id", id},
                              {"state", "COMPLETE"},
                              {"start_time", "2024-01-31T14:00:00Z"},
                              {"end_time", "2024-01-31T14:01:45Z"},
                              {"created_timezone", "Asia/Seoul"}}}}));
}

TEST(LocalService, KeepsTheUploadedBytesAndTheLastOfADoubleNumber) {
    ServicePeer peer;
    const auto id = peer.open();
    peer.upload(id, "7", melForm(melFile(0.5F)));
    peer.upload(id, "2", melForm(melFile()));
    peer.upload(id, "7", melForm(melFile(2.0F)));
    EXPECT_EQ(peer.get("/inspect/sessions/" + id + "/chunks/7").body, melFile(2.0F));

    const auto seen = resultOf(peer.get("/inspect/sessions/" + id));
    EXPECT_EQ(seen.at("missing"), json::parse("[[0,1],[3,6]]"));
    EXPECT_EQ(seen.at("chunks"), json::parse(R"([{"sequence":2,"size":96157,"receives":1,"arrival":2},
                                                 {"sequence":7,"size":96157,"receives":2,"arrival":3}])"));
    EXPECT_DOUBLE_EQ(seen.at("missing_data_ratio").get<double>(), 0.75);
}

TEST(LocalService, RefusesMalformedUploadsAndSaysWhy) {
    ServicePeer peer;
    const auto id = peer.open();
    const std::string good = melForm(melFile());
    const auto changed = [&](const std::string& from, const std::string& to) {
        std::string form = good;
        return form.replace(form.rfind(from), from.size(), to);
    };
    const std::vector<std::tuple<std::string, int, std::string>> rows{
        {"", 1201, "does not begin with the boundary"},
        {good.substr(0, good.size() - 2), 1201, "CR LF"},
        {good.substr(0, good.size() - 60), 1201, "closing boundary is missing"},
        {good + "more", 1201, "after the closing"},
        {changed("name=\"melspectrogram\"", "name=\"mel\""), 1201, "exactly one part"},
        {changed("; filename=\"melspectrogram.npy\"", ""), 1201, "file name"},
        {changed("form-data; name", "attachment; name"), 1201, "not form-data"},
        {melForm("RIFF"), 1202, "no .npy"},
        {melForm(melFile() + "x"), 1202, "96081 bytes of data"},
        {changed("(1, 20, 1201)", "(1, 1201, 20)"), 1202, "shape"},
        {changed("'=f4'", "'>f4'"), 1202, "little-endian"},
        {changed("False", " True"), 1202, "C order"},
        {good + std::string(4 << 20, 'x'), 1203, "4 MiB"},
    };
    for (const auto& [form, code, detail] : rows)
        expectError(peer.upload(id, "0", form), code == 1203 ? 413 : 400, code, detail);
    EXPECT_EQ(peer.upload(id, "0", good).status, 200);
    EXPECT_EQ(peer.upload(id, "1", good + "\r\n").status, 200) << "a line end after the form is as good";
    expectError(peer.upload(id, "-1", good), 400, 1001, "sequence");
    expectError(peer.upload(id, "99999999999999999999", good), 400, 1001, "sequence");
    expectError(peer.upload("nobody", "0", good), 404, 1101, "nobody");
    EXPECT_EQ(resultOf(peer.get("/inspect/sessions/" + id)).at("received"), 2);
}

TEST(LocalService, TakesNoUploadAfterTheEndAndKeepsTheFirstEnd) {
    ServicePeer peer;
    const auto id = peer.open("2024-01-31T14:00:00Z");
    expectError(peer.close(id, "2024-01-31T13:59:59Z"), 400, 1001, "before");
    EXPECT_EQ(peer.close(id, "2024-01-31T15:00:00Z", true).status, 200);
    EXPECT_EQ(peer.close(id, "2024-01-31T16:00:00Z").status, 200);
    expectError(peer.upload(id, 0), 403, 1102, "closed");
    const auto session = resultOf(peer.get("/data/v3/sessions/" + id)).at("session");
    EXPECT_EQ(session.at("end_time"), "2024-01-31T15:00:00Z");
    EXPECT_EQ(session.at("unexpected_end_time"), "2024-01-31T15:00:00Z");
}

TEST(LocalService, EndsAForgottenSessionWhenTheUserOpensAnother) {
    ServicePeer peer;
    const auto forgotten = peer.open("2024-01-31T14:00:00Z");
    peer.upload(forgotten, 9);
    const auto polite = sessionBody("2024-02-01T14:00:00Z", false);
    expectError(peer.post("/ai/v1/sessions", polite), 409, 1103, "open session");
    peer.open("2024-02-01T14:00:00Z");
    const auto session = resultOf(peer.get("/data/v3/sessions/" + forgotten)).at("session");
    EXPECT_EQ(session.at("unexpected_end_time"), "2024-01-31T14:05:00Z");
    EXPECT_FALSE(session.contains("end_time"));
    expectError(peer.upload(forgotten, 10), 403, 1102, "closed");
}

TEST(LocalService, RefusesBadRequestsInTheEnvelope) {
    ServicePeer peer("key");
    const auto port = peer.service().port();
    expectError(exchange(port, "GET", "/ai/v1/users/a"), 401, 1002, "x-api-key");
    expectError(exchange(port, "GET", "/ai/v1/users/a", {"x-api-key: other"}), 401, 1003, "another API key");
    const auto session = sessionBody("2024-01-01T00:00:00Z");
    expectError(exchange(port, "POST", "/ai/v1/sessions", {"x-api-key: key"}, session), 400, 1005,
                "x-user-id");
    RawClient stranger(port);
    stranger.send("GET /inspect/sessions HTTP/1.1\r\nHost: attacker.example\r\n\r\n");
    EXPECT_THAT(stranger.receiveAll(), HasSubstr("403 Forbidden"));
    const std::vector<std::tuple<const char*, const char*, const char*, int>> rows{
        {"GET", "/nothing/here", "", 404},
        {"PUT", "/ai/v1/users", "{}", 405},
        {"GET", "/data/v3/sessions/..%2f..%2fetc%2fpasswd", "", 404},
        {"GET", "/inspect/sessions/x/chunks/..%2f1", "", 400},
        {"GET", "/inspect/sessions/x/chunks/../../../service.sqlite", "", 404},
        {"GET", "/mel/1/0.npy", "", 404},
        {"GET", "/ai/v1/users/%zz", "", 400},
        {"GET", "/ai/v1/users/a%00b", "", 400},
        {"GET", "/ai/v1/users/", "", 404},
        {"POST", "/ai/v1/users", "[1]", 400},
        {"POST", "/ai/v1/sessions", "{\"upload_data_type\":\"VIDEO\"}", 400},
        {"POST", "/ai/v1/sessions", "{\"upload_data_type\":\"AUDIO\",\"session_start_time\":\"today\"}", 400},
        {"POST", "/datadog/api/v2/logs", "{\"message\":1}", 400},
        {"DELETE", "/ai/v1/users/nobody", "", 404},
        {"DELETE", "/ai/v1/sessions/nothing", "", 404},
    };
    for (const auto& [method, target, body, status] : rows) {
        const auto answer = peer.call(method, target, body);
        EXPECT_EQ(answer.status, status) << method << ' ' << target << '\n' << answer.body;
        EXPECT_TRUE(resultOf(answer).contains("error_code")) << answer.body;
    }
}

TEST(LocalService, DeletesSessionsAndUsersWithTheirFiles) {
    ServicePeer peer;
    const auto first = peer.open("2024-01-31T14:00:00Z");
    peer.upload(first, 0);
    const auto second = peer.open("2024-02-01T14:00:00Z");
    peer.upload(second, 0);
    const auto files = peer.directory.path / "data/mel";
    const auto count = [&] { return std::distance(std::filesystem::directory_iterator(files), {}); };
    EXPECT_EQ(count(), 2);
    EXPECT_EQ(peer.call("DELETE", "/ai/v1/sessions/" + first).body, R"({"result":{}})");
    EXPECT_EQ(peer.get("/data/v3/sessions/" + first).status, 404);
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(peer.call("DELETE", "/ai/v1/users/tester").status, 200);
    EXPECT_EQ(peer.upload(second, 1).status, 404);
    EXPECT_EQ(count(), 0);
}

TEST(LocalService, KeepsShippedLogsWithoutTheKey) {
    ServicePeer peer;
    const json log = {{"ddsource", "VelmorSDK"},
                      {"ddtags", "version:1.0, sessionId:abc, apikey:secret, userId:tester"},
                      {"hostname", "iOS"},
                      {"message", "one\ntwo <b>\xC3\xA9</b>"},
                      {"service", "Host"}};
    EXPECT_EQ(peer.post("/datadog/api/v2/logs", log.dump()).status, 202);
    const auto logs = resultOf(peer.get("/inspect/sessions/abc/logs"));
    ASSERT_EQ(logs.size(), 1U);
    EXPECT_EQ(logs.at(0).at("tags"), "version:1.0, sessionId:abc, apikey:***, userId:tester");
    const auto text = resultOf(peer.get("/inspect/logs/" + logs.at(0).at("log").dump()));
    EXPECT_EQ(text.at("message"), "one\ntwo <b>\xC3\xA9</b>");
    EXPECT_EQ(resultOf(peer.get("/inspect/sessions/other/logs")), json::array());
}

TEST(LocalService, SaysWhyItCannotStart) {
    const TemporaryDirectory directory;
    const std::string path = directory.path;
    const auto reasonFor = [](const LocalServiceOptions& options) {
        return VelmorTests::errorOf<std::runtime_error>([&] { const LocalService service(options); });
    };
    LocalService first({.directory = path});
    EXPECT_THAT(reasonFor({.directory = path, .port = first.port()}),
                HasSubstr("port " + std::to_string(first.port())));
    EXPECT_THAT(reasonFor({.directory = ""}), HasSubstr("directory"));
    std::ofstream(path + "/file") << "in the way";
    EXPECT_THAT(reasonFor({.directory = path + "/file"}), HasSubstr("/file"));
}

TEST(LocalService, TellsItsOwnerWhatItAnswered) {
    std::mutex mutex;
    std::vector<std::string> told;
    ServicePeer peer({}, [&](const ServedRequest& served) {
        const std::lock_guard lock(mutex);
        told.push_back(served.method + " " + served.path + " " + std::to_string(served.status));
    });
    peer.get("/ai/v1/users/a%20b?x=y");
    peer.get("/nowhere");
    const std::lock_guard lock(mutex);
    EXPECT_THAT(told, ::testing::ElementsAre("GET /ai/v1/users/a%20b 200", "GET /nowhere 404"));
}

TEST(LocalService, ShowsAPageThatLoadsOnlyFromItself) {
    ServicePeer peer;
    const auto port = peer.service().port();
    const auto page = exchange(port, "GET", "/");
    EXPECT_THAT(page.head, HasSubstr("Content-Security-Policy: default-src 'none';"));
    for (const std::string file : {"style.css", "draw.js", "page.js"}) {
        EXPECT_THAT(page.body, HasSubstr('"' + file + '"'));
        EXPECT_EQ(exchange(port, "GET", "/" + file).status, 200) << file;
    }
    const auto id = peer.open();
    peer.upload(id, 258);
    const auto overview = exchange(port, "GET", "/inspect/sessions/" + id + "/overview").body;
    EXPECT_EQ(overview.substr(0, 5), std::string("\x02\x01\0\0\xAA", 5));
    EXPECT_EQ(overview.size(), 84U);
    EXPECT_EQ(resultOf(exchange(port, "GET", "/inspect/sessions/" + id + "/report")).at("missing_data_ratio"),
              258.0 / 259.0);
}

TEST(LocalService, StopsAtOnceWithIdleAndHalfSentClients) {
    ServicePeer peer;
    RawClient idle(peer.service().port());
    RawClient half(peer.service().port());
    half.send("POST /ai/v1/users HTTP/1.1\r\nContent-Length: 2\r\n\r\n{");
    const auto begin = std::chrono::steady_clock::now();
    peer.service().stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(250));
    EXPECT_EQ(half.receiveAll(), "");
}

}  // namespace VelmorService::Testing
