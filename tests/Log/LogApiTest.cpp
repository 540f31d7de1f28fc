#include "../World.hpp"
#include "Log/LogAPI.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

namespace Velmor {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using Level = LogAPI::Level;

constexpr const char* kLive = "/documents/VelmorSDK.log";
constexpr const char* kSend = "/documents/VelmorSDK_send.log";

class LogApiTest : public testing::Test, protected World {
  protected:
    LogApiTest() {
        device->setTimeZone("Asia/Kolkata", std::chrono::minutes(330));
        // To 2024-03-05 17:40:04.512 UTC.
        clock->stepWall(WallTime{std::chrono::milliseconds(1'709'660'404'512)} - clock->wallNow());
        platform->console = [this](std::string_view line) { console.emplace_back(line); };
        log->setShip([this](LogAPI::Shipment shipment) { shipped.push_back(std::move(shipment)); });
    }

    ~LogApiTest() override { setDebugLoggerDelegate(nullptr); }

    std::string live() const { return files->contents(kLive).value_or("(none)"); }

    std::vector<std::string> console;
    std::vector<LogAPI::Shipment> shipped;
    std::unique_ptr<LogAPI> log = std::make_unique<LogAPI>(platform);
};

TEST_F(LogApiTest, LinesCarryLocalTimeLevelTagAndMessage) {
    log->log(Level::I, "reports", "[CALL] report callback 0f3c9a");
    clock->advance(std::chrono::milliseconds(500));
    log->log(Level::WTF, "x", "two\nlines");
    EXPECT_EQ(live(),
              "2024-03-05 23:10:04.512 | I | reports | [CALL] report callback 0f3c9a\n"
              "2024-03-05 23:10:05.012 | WTF | x | two\nlines\n");
    EXPECT_EQ(log->logTimestamp(WallTime{std::chrono::milliseconds(-1)}), "1970-01-01 05:29:59.999");
    for (const char* text : {"I", "W", "E", "D", "WTF"})
        EXPECT_EQ(LogAPI::name(LogAPI::level(text).value()), text);
    for (const char* text : {"X", "i", "", "WT"}) EXPECT_EQ(LogAPI::level(text), std::nullopt) << text;
}

TEST_F(LogApiTest, TextThatIsNotUtf8IsLeftOut) {
    for (const char* bad :
         {"\xff", "\xc0\x80", "\xe0\x80\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "cut \xe2\x82"})
        log->log(Level::I, "t", bad);
    EXPECT_EQ(live(), "(none)");
    log->log(Level::I, "t", "gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\xb4");
    EXPECT_THAT(live(), EndsWith("\xf0\x9f\x98\xb4\n"));
    files->put(kSend, "\xff");
    log->uploadLog({}, {});
    EXPECT_EQ(shipped.at(0).message, "") << "what is unreadable is shipped as nothing";
}

TEST_F(LogApiTest, FailedWriteIsToldToTheConsoleAlone) {
    files->addFault({.operation = Testing::MemoryFiles::Operation::open, .fromThenOn = true});
    files->addFault(
        {.operation = Testing::MemoryFiles::Operation::replace, .kind = PlatformError::Kind::noSpace});
    log->log(Level::I, "t", "lost");
    EXPECT_THAT(console, ElementsAre(testing::StartsWith("Error writing log: ")));
    log->log(Level::I, "t", "kept");
    EXPECT_THAT(live(), HasSubstr("kept"));
}

struct Lines : VelmorDebugLoggerDelegate {
    void didPrint(const std::string& message) override {
        lines.push_back(message);
        if (throws) throw std::runtime_error("delegate");
    }
    std::vector<std::string> lines;
    bool throws = false;
};

TEST_F(LogApiTest, DebugLinesReachTheLastDelegateAndTheConsole) {
    log->debugPrint("nobody listens");
    EXPECT_THAT(console, IsEmpty());
    const auto first = std::make_shared<Lines>();
    const auto second = std::make_shared<Lines>();
    second->throws = true;
    for (const auto& lines : {first, second}) setDebugLoggerDelegate(lines);
    log->debugPrint("Tracking: request start");
    log->debugPrintError(VelmorError(VelmorError::httpStatus{401, 1002, {}}));
    EXPECT_THAT(first->lines, IsEmpty());
    EXPECT_THAT(second->lines, ElementsAre("2024-03-05 23:10:04.512 [Velmor SDK] Tracking: request start",
                                           "2024-03-05 23:10:04.512 [Velmor SDK] httpStatus(401, )"));
    EXPECT_EQ(console, second->lines);
}

TEST_F(LogApiTest, ShipmentMovesTheWholeTextAndTakesLeftoversAlong) {
    log->uploadLog({}, "id");
    EXPECT_TRUE(shipped.empty()) << "no log file, nothing to ship";

    files->put(kSend, "left over\n");
    files->put(kLive, "new\n");
    log->uploadLog({}, "id");
    ASSERT_EQ(shipped.size(), 1U);
    EXPECT_EQ(shipped[0].message, "left over\nnew\n");
    EXPECT_EQ(shipped[0].sessionId, "id");
    EXPECT_THAT(files->paths(), ElementsAre(kSend));
    log->removeSendFile();
    EXPECT_THAT(files->paths(), IsEmpty());
}

TEST_F(LogApiTest, ShipmentGoesOnWhateverFileOperationFails) {
    using Operation = Testing::MemoryFiles::Operation;
    const struct {
        const char* what;
        Testing::MemoryFiles::Fault fault;
        const char* message;
        bool told;
    } rows[] = {
        {"live unreadable", {.operation = Operation::open, .path = kLive}, "", true},
        {"send not writable", {.operation = Operation::replace, .path = kSend}, "", true},
        {"send unreadable", {.operation = Operation::read, .path = kSend}, "", false},
        {"live not removable", {.operation = Operation::remove, .path = kLive}, "new\n", false},
    };
    for (const auto& row : rows) {
        files->put(kLive, "new\n");
        log->removeSendFile();
        files->clearFaults();
        files->addFault(row.fault);
        shipped.clear();
        console.clear();
        log->uploadLog({}, {});
        ASSERT_EQ(shipped.size(), 1U) << row.what;
        EXPECT_EQ(shipped[0].message, row.message) << row.what;
        EXPECT_EQ(!console.empty(), row.told) << row.what;
    }
}

TEST_F(LogApiTest, ShipmentsWithoutAConfigurationCarryTheLogsOwn) {
    const Config own("key", "own", Url::parse("http://localhost"));
    const Config given("key", "given", Url::parse("http://localhost"));
    for (const auto& config : {std::optional<Config>(), std::optional(given)}) {
        files->put(kLive, "text\n");
        log->uploadLog(config, {});
        log->setConfig(own);
    }
    files->put(kLive, "text\n");
    log->uploadLog({}, {});
    ASSERT_EQ(shipped.size(), 3U);
    EXPECT_EQ(shipped[0].config, std::nullopt);
    EXPECT_EQ(shipped[1].config, given);
    EXPECT_EQ(shipped[2].config, own);
}

}  // namespace
}  // namespace Velmor
