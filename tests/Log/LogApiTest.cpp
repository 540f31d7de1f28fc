#include "../World.hpp"
#include "Log/LogAPI.hpp"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
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

TEST_F(LogApiTest, LinesThatAreNotUtf8AreLeftOutAndShippedOnesRepaired) {
    const std::vector<std::pair<const char*, const char*>> rows{{"\xff", "?"},
                                                                {"\xc0\x80", "??"},
                                                                {"\xe0\x80\x80", "???"},
                                                                {"\xe0\x9f", "??"},
                                                                {"\xed\xa0\x80", "???"},
                                                                {"\xf0\x8f\x80\x80", "????"},
                                                                {"\xf4\x90\x80\x80", "????"},
                                                                {"\xf5", "?"},
                                                                {"cut \xe2\x82", "cut ?"},
                                                                {"cut \xf0\x9f\x98|", "cut ?|"}};
    for (const auto& [bad, repaired] : rows) {
        files->put(kLive, "before ");
        log->log(Level::I, "t", bad);
        EXPECT_EQ(live(), "before ") << repaired;
        files->put(kSend, bad);
        log->uploadLog({}, {});
        auto message = shipped.back().message;
        for (auto at = message.find("\xEF\xBF\xBD"); at != message.npos; at = message.find("\xEF\xBF\xBD"))
            message.replace(at, 3, "?");
        EXPECT_EQ(message, repaired + std::string("before "));
        log->removeSendFile();
    }
    log->log(Level::I, "t", "gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xed\x9f\xbf \xf4\x8f\xbf\xbf");
    const auto whole = live();
    EXPECT_THAT(whole, EndsWith("\xf4\x8f\xbf\xbf\n"));
    log->uploadLog({}, {});
    EXPECT_EQ(shipped.back().message, whole);
}

TEST_F(LogApiTest, NothingThatWasWrittenIsDroppedButBySize) {
    constexpr std::size_t kLimit = LogAPI::kMaxFileSize;
    const std::string line = "2024-03-05 23:10:04.512 | I | t | m\n";
    const std::vector<std::pair<std::string, std::string>> rows{
        {"whole\n", "whole\n" + line},
        {"whole\ntorn", "whole\ntorn\n" + line},
        {std::string(kLimit, 'x'), std::string(kLimit, 'x') + "\n" + line},
        {std::string(kLimit - 1, 'x') + "\n", std::string(kLimit - 1, 'x') + "\n" + line},
        {std::string(kLimit + 1, 'x'), line}};
    for (const auto& [before, after] : rows) {
        files->put(kLive, before);
        LogAPI(platform).log(Level::I, "t", "m");
        EXPECT_TRUE(live() == after) << before.substr(0, 20) << " of " << before.size();
    }
    files->put(kLive, std::string(kLimit + 1, 'x'));
    log->log(Level::I, "t", "\xff");
    EXPECT_EQ(live(), "(none)") << "a line that is left out still counts for the limit";
    log->log(Level::I, "t", "m");
    files->addFault({.operation = Testing::MemoryFiles::Operation::write, .keptBytes = 10});
    for (int i = 0; i < 3; ++i) log->log(Level::I, "t", "m");
    EXPECT_EQ(live(), line + "2024-03-05\n" + line + line) << "the second write broke off";
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
        if (then) then();
    }
    std::vector<std::string> lines;
    std::function<void()> then;
};

// What a delegate prints itself goes to the console alone, and ahead of the line that it was called for.
TEST_F(LogApiTest, DebugLinesReachTheLastDelegateAndThenTheConsole) {
    log->debugPrint("nobody listens");
    const auto first = std::make_shared<Lines>(), second = std::make_shared<Lines>();
    second->then = [&] {
        log->debugPrint("within");
        throw std::runtime_error("delegate");
    };
    for (const auto& lines : {first, second}) setDebugLoggerDelegate(lines);
    log->debugPrint("Tracking: request start");
    log->debugPrintError(VelmorError(VelmorError::httpStatus{401, 1002, {}}));
    setDebugLoggerDelegate(nullptr);
    log->debugPrint("nobody listens any more");
    const std::string mark = "2024-03-05 23:10:04.512 [Velmor SDK] ",
                      start = mark + "Tracking: request start", error = mark + "httpStatus(401, )",
                      within = mark + "within";
    EXPECT_THAT(first->lines, IsEmpty());
    EXPECT_THAT(second->lines, ElementsAre(start, error));
    EXPECT_THAT(console, ElementsAre(within, start, within, error));
}

TEST_F(LogApiTest, ShipmentMovesTheWholeTextAndTakesLeftoversAlong) {
    const Config own("key", "own", Url::parse("http://localhost"));
    const Config given("key", "given", Url::parse("http://localhost"));
    log->uploadLog({}, "id");
    EXPECT_TRUE(shipped.empty()) << "no log file, nothing to ship";
    files->put(kSend, "left over\n");
    for (const auto& config : {std::optional<Config>(), std::optional(given), std::optional<Config>()}) {
        files->put(kLive, "new\ntorn");
        log->uploadLog(config, "id");
        EXPECT_THAT(files->paths(), ElementsAre(kSend));
        log->removeSendFile();
        EXPECT_THAT(files->paths(), IsEmpty());
        log->setConfig(own);  // for shipments that are given none
    }
    ASSERT_EQ(shipped.size(), 3U);
    EXPECT_EQ(shipped[0].message, "left over\nnew\ntorn");
    EXPECT_EQ(shipped[1].message, "new\ntorn");
    EXPECT_EQ(shipped[0].sessionId, "id");
    EXPECT_EQ(shipped[0].config, std::nullopt);
    EXPECT_EQ(shipped[1].config, given);
    EXPECT_EQ(shipped[2].config, own);
}

TEST_F(LogApiTest, ShipmentGoesOnWhateverFileOperationFails) {
    using Operation = Testing::MemoryFiles::Operation;
    const std::vector<std::tuple<Testing::MemoryFiles::Fault, const char*, bool>> rows{
        {{.operation = Operation::open, .path = kLive}, "", true},
        {{.operation = Operation::replace, .path = kSend}, "", true},
        {{.operation = Operation::read, .path = kSend}, "", false},
        {{.operation = Operation::remove, .path = kLive}, "new\n", false}};
    for (const auto& [fault, message, told] : rows) {
        files->put(kLive, "new\n");
        log->removeSendFile();
        files->clearFaults();
        files->addFault(fault);
        console.clear();
        log->uploadLog({}, {});
        EXPECT_EQ(shipped.back().message, message) << fault.path;
        EXPECT_EQ(!console.empty(), told) << fault.path;
    }
    EXPECT_EQ(shipped.size(), rows.size());
}

}  // namespace
}  // namespace Velmor
