#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Velmor/Testing.hpp>

namespace Velmor::Testing {
namespace {

using namespace std::chrono_literals;
using Kind = PlatformError::Kind;
using Operation = MemoryFiles::Operation;

std::span<const std::byte> bytesOf(std::string_view text) {
    return std::as_bytes(std::span(text));
}

class MemoryFilesTest : public testing::Test {
  protected:
    MemoryFiles files;
    const std::string path = files.temporaryDirectory() + "a";

    void write(std::string_view text) { files.open(path, FileMode::create)->write(bytesOf(text)); }
};

TEST_F(MemoryFilesTest, TheFaultTableCountsWhatItMatches) {
    files.addFault(
        {.operation = Operation::write, .path = "*/a", .nth = 2, .kind = Kind::noSpace, .keptBytes = 2});
    const auto file = files.open(path, FileMode::create);
    file->write(bytesOf("1234"));
    EXPECT_THAT([&] { file->write(bytesOf("5678")); },
                testing::Throws<PlatformError>(testing::Property(&PlatformError::kind, Kind::noSpace)));
    EXPECT_EQ(files.contents(path), "123456") << "a torn write";
    file->write(bytesOf("9"));
    EXPECT_EQ(files.contents(path), "1234569") << "once only";

    files.addFault({.operation = Operation::open, .fromThenOn = true});
    for (int i = 0; i < 3; ++i) EXPECT_THROW(files.open(path, FileMode::read), PlatformError);
    files.clearFaults();
    const auto before = files.operationCount();
    files.addFault({.nth = 2});
    EXPECT_EQ(files.size(path), 7U);
    EXPECT_EQ(files.size(path), std::nullopt);
    EXPECT_EQ(files.operationCount(), before + 2);
}

class ScriptedTransportTest : public testing::Test {
  protected:
    std::shared_ptr<ManualExecutor> executor =
        std::make_shared<ManualExecutor>(std::make_shared<VirtualClock>());
    ScriptedTransport transport{executor};
    std::vector<HttpResult> results;

    std::unique_ptr<HttpExchange> send(const char* url = "http://127.0.0.1/x") {
        return transport.send({"GET", Url::parse(url), {}, {}},
                              [this](HttpResult result) { results.push_back(std::move(result)); });
    }
    int status(std::size_t i) const { return std::get<HttpResponse>(results.at(i)).status; }
    Kind kind(std::size_t i) const { return std::get<PlatformError>(results.at(i)).kind(); }
};

TEST_F(ScriptedTransportTest, AnswersFromTheQueueThenFromTheHandlerWithinTheLimits) {
    transport.setDelay(2s);
    transport.enqueueStatus(204);
    transport.enqueueFailure(Kind::io);
    transport.enqueue(HttpResponse{201, {}, {}}, 20s);
    transport.enqueueSilence();
    std::vector<std::unique_ptr<HttpExchange>> flights;
    while (flights.size() < 5) flights.push_back(send());  // one more than is scripted
    transport.setHandler([](const HttpRequest& r) { return HttpResponse{200, {}, r.url.path()}; });
    flights.push_back(send("http://127.0.0.1/handled"));
    EXPECT_TRUE(results.empty()) << "never from inside send";
    EXPECT_EQ(transport.mostInFlight(), 6U);
    EXPECT_EQ(transport.requests()[5].url.path(), "/handled");
    executor->advance(1999ms);
    EXPECT_TRUE(results.empty());
    executor->advance(1ms);
    ASSERT_EQ(results.size(), 4U);
    EXPECT_EQ(status(0), 204);
    EXPECT_EQ(kind(1), Kind::io);
    EXPECT_EQ(kind(2), Kind::cannotConnect);
    EXPECT_EQ(std::get<HttpResponse>(results[3]).body, "/handled");
    executor->advance(12999ms);
    EXPECT_EQ(results.size(), 4U);
    executor->advance(1ms);
    ASSERT_EQ(results.size(), 6U);
    for (const std::size_t late : {4U, 5U}) EXPECT_EQ(kind(late), Kind::timedOut);
    EXPECT_EQ(transport.inFlight(), 0U);
}

TEST(FixedDevice, SaysTheSameInEveryRun) {
    const auto drawn = [](FixedDevice&& device) {
        std::array<std::byte, 12> bytes{};
        device.fillRandom(bytes);
        return bytes;
    };
    EXPECT_EQ(drawn(FixedDevice()), drawn(FixedDevice()));
    EXPECT_NE(drawn(FixedDevice()), drawn(FixedDevice(FixedDevice::usualFacts(), 2)));
}

}  // namespace
}  // namespace Velmor::Testing
