// The entry points and what the configuration's delegate hears.
#include "Night.hpp"

namespace Velmor {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class EntryTest : public NightTest {
  protected:
    ~EntryTest() override { DeveloperMode::setOn(false); }
    void init(const std::optional<std::string>& userId,
              const std::optional<Url>& baseUrl = Url::parse(kBaseUrl),
              const std::shared_ptr<VelmorConfigDelegate>& delegate = {}) {
        initVelmorConfig("key", userId, baseUrl, {}, {}, delegate ? delegate : host);
    }
    void initAndRun(const std::optional<std::string>& userId) {
        init(userId);
        executor->runUntilIdle();
    }
};

TEST_F(EntryTest, JoinsAKnownUserAndMakesANewOne) {
    init({});
    EXPECT_THAT(logText(), HasSubstr("| I | init | [CALL] initVelmorConfig - http://localhost/base -\n"));
    executor->runUntilIdle();
    EXPECT_EQ(host->joined->userId(), "u1");
    initAndRun("x y");
    EXPECT_THAT(sent(), testing::AllOf(Contains("POST ai/v1/users"), Contains("GET ai/v1/users/x%20y")));
    EXPECT_EQ(lines, (Lines{"userDidJoin u1", "userDidJoin u1"}));
    EXPECT_THAT(logText(), HasSubstr("| I | init | [CALL] initVelmorConfig x y http://localhost/base -\n"));
    EXPECT_THAT(logText(), HasSubstr("| I | init | [RESP] userId u1\n"));
    initVelmorConfig("key", host);
    executor->runUntilIdle();
    EXPECT_THAT(sent(), Contains("POST https://api.velmor.example/ai/v1/users"));
}

TEST_F(EntryTest, OnlyTheLastDelegateHears) {
    Lines second;
    const auto other = std::make_shared<Host>(second);
    http->setDelay(seconds(2));
    init("a");
    executor->advance(seconds(1));
    init("b", Url::parse(kBaseUrl), other);
    executor->advance(seconds(5));
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_EQ(second, Lines{"userDidJoin u1"});
}

TEST_F(EntryTest, FailedJoinIsToldWholeAndLoggedShort) {
    const std::string detail(300, 'd');
    answerWith = [&](const std::string&) { return HttpResponse{401, {}, R"({"detail":")" + detail + "\"}"}; };
    initAndRun("a");
    EXPECT_EQ(lines, Lines{"didFailUserJoin httpStatus(401, " + detail + ")"});
    EXPECT_THAT(logText(), HasSubstr("| E | init | Failed to user " +
                                     ("httpStatus(401, " + detail).substr(0, 200) + "\n"));
}

TEST_F(EntryTest, ARefusedConfigurationChangesNothing) {
    begin();
    const auto before = http->requestCount();
    initVelmorConfig("key\n", host);
    executor->runUntilIdle();
    EXPECT_EQ(lines, Lines{"didFailUserJoin unknown(the API key holds a control character)"});
    EXPECT_EQ(http->requestCount(), before);
    EXPECT_EQ(manager->getTrackingStatus().sessionId, "s1") << "the night goes on";
    lines.clear();
    deleteUser(Config("key", "u9", Url::parse(kBaseUrl)));
    executor->runUntilIdle();
    EXPECT_EQ(lines, Lines{"userDidDelete u9"}) << "of the configuration before";
}

TEST_F(EntryTest, DeletingGoesToTheCurrentConfiguration) {
    const Config config("key", "u9", Url::parse(kBaseUrl));
    deleteUser(config);
    executor->runUntilIdle();
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_THAT(logText(), HasSubstr("| I | delete | [CALL] deleteUser u9\n"));
    join();
    deleteUser(config);
    executor->runUntilIdle();
    EXPECT_EQ(sent().back(), "DELETE ai/v1/users/u9");
    EXPECT_EQ(lines, Lines{"userDidDelete u9"});
}

TEST_F(EntryTest, DeveloperModeReplacesThePath) {
    DeveloperMode::setOn(true);
    init("a", Url::parse("http://localhost:81/api/v2"));
    executor->runUntilIdle();
    EXPECT_EQ(http->requests().at(0).url.absoluteString(), "http://localhost:81/mock/ai/v1/users/a");
    EXPECT_THAT(logText(), HasSubstr("[CALL] initVelmorConfig a http://localhost:81/api/v2 -\n"))
        << "as given";
    initAndRun("a");
    EXPECT_THAT(http->requests().back().body, HasSubstr("| I | init | Developer mode is on\\n")) << "shipped";
}

TEST_F(EntryTest, OldLogIsDroppedAtTheFirstConfigurationAndShippedLater) {
    files->put("/documents/VelmorSDK.log", "of an earlier run\n");
    initAndRun("a");
    EXPECT_THAT(sent(), ElementsAre("GET ai/v1/users/a"));
    EXPECT_FALSE(files->contents("/documents/VelmorSDK_send.log"));
    EXPECT_THAT(logText(), Not(HasSubstr("earlier run")));
    initAndRun("b");
    EXPECT_THAT(sent(), Contains("POST https://logs.velmor.example/datadog/api/v2/logs"));
    EXPECT_FALSE(files->contents("/documents/VelmorSDK_send.log"));
}

TEST_F(EntryTest, AFailedJoinGivesTheLogNoConfiguration) {
    answerWith = [](const std::string&) { return HttpResponse{401, {}, "{}"}; };
    for (const char* user : {"a", "b"}) initAndRun(user);
    EXPECT_THAT(sent(), ElementsAre("GET ai/v1/users/a", "GET ai/v1/users/b"));
    answerWith = {};
    initAndRun("c");
    initAndRun("d");
    EXPECT_THAT(http->requests().back().body, HasSubstr("userId:u1")) << "of the user who joined";
}

TEST_F(EntryTest, ReportsAreReusedWithTheNewConfiguration) {
    const Config first("key", "u1", Url::parse(kBaseUrl));
    const Config second("key", "u2", Url::parse(kBaseUrl));
    const auto reports = createReports(first);
    EXPECT_EQ(createReports(second), reports);
    const auto query = reports->getAverageReport("2024-01-01", "2024-01-31");
    executor->runUntilIdle();
    EXPECT_EQ(sent().back(), "GET data/v1/users/u2/average-stats?start_date=2024-01-01&end_date=2024-01-31");
    EXPECT_THROW(query.get(), VelmorError);
}

TEST_F(EntryTest, RecorderRecordsWithoutASessionUntilItIsReplaced) {
    Lines others;
    const auto other = std::make_shared<Host>(others);
    auto recorder = createRecorder(host);
    recorder->startRecording();
    executor->advance(seconds(61));
    const Lines both{"recordedData 0 of 96157 bytes", "recordedData 1 of 96157 bytes"};
    EXPECT_EQ(lines, both);
    const auto next = createRecorder(other);
    executor->advance(seconds(61));
    EXPECT_EQ(lines, both) << "the former delegate hears nothing any more";
    EXPECT_THAT(sent(), IsEmpty());
}

}  // namespace
}  // namespace Velmor
