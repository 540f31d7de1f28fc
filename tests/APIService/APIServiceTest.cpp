#include "APIService/APIService.hpp"
#include "APIService/Requests.hpp"
#include "Scene.hpp"

namespace Velmor {
namespace {

// One line for an outcome, so that a table can say what is expected.
std::string text(const APIResult<Model::CreateSession>& outcome) {
    if (!outcome.error) {
        return outcome.record ? "result " + outcome.record->sessionId : "none";
    }
    try {
        std::rethrow_exception(outcome.error);
    } catch (const VelmorError& error) {
        const auto* http = error.as<VelmorError::httpStatus>();
        return http ? error.description() + " errorCode " + std::to_string(http->errorCode.value()) : "other";
    } catch (const DecodingError& error) {
        return "DecodingError " + error.path();
    }
}

// Finds no memory for a task while it is full.
class FullExecutor : public Executor {
  public:
    explicit FullExecutor(const std::shared_ptr<Executor>& inner) : inner_(inner) {}
    void post(std::function<void()> task) override {
        if (full) throw std::bad_alloc();
        inner_->post(std::move(task));
    }
    void postAfter(std::chrono::nanoseconds delay, std::function<void()> task) override {
        inner_->postAfter(delay, std::move(task));
    }
    bool full = false;

  private:
    const std::shared_ptr<Executor> inner_;
};

class APIServiceTest : public Scene {
  protected:
    void send() {
        service->request<Model::CreateSession>(
            jsonRequest(Endpoint("GET", "x"), Url::parse(kBaseUrl), config(), *device), answers,
            [this](const auto& outcome) { outcomes.push_back(text(outcome)); });
    }

    std::shared_ptr<FullExecutor> answers = std::make_shared<FullExecutor>(executor);
    std::shared_ptr<APIService> service = std::make_shared<APIService>(http);
    std::vector<std::string> outcomes;
};

// What each status and each answer of another form is taken for, the fault tables ask over real sockets.
TEST_F(APIServiceTest, StatusAndEnvelopeRules) {
    const std::vector<std::tuple<int, const char*, const char*>> cases{
        {200, R"({"result":{"session_id":"s","new":[1]},"detail":"x","more":{}})", "result s"},
        {200, R"({"result":null,"detail":null})", "none"},
        {200, "{}", "none"},
        {200, R"({"result":{}})", "DecodingError result.session_id"},
        {399, "{}", "none"},
        {400, R"({"result":{"error_code":7},"detail":"bad"})", "httpStatus(400, bad) errorCode 7"},
        {401, R"({"result":{"error_code":null}})", "httpStatus(401, ) errorCode -9999"},
        {500, R"({"detail":"x"})", "httpStatus(500, x) errorCode -9999"},
        {199, "{}", "httpStatus(199, ) errorCode -9999"}};
    for (const auto& [status, body, expected] : cases) {
        http->enqueueStatus(status, body);
        send();
        executor->runUntilIdle();
        EXPECT_THAT(outcomes, testing::ElementsAre(expected)) << status << " " << body;
        outcomes.clear();
    }
}

TEST_F(APIServiceTest, AnAnswerWithoutMemoryForItsTaskComesWithTheTimerThatWasSetBefore) {
    http->enqueueStatus(200, R"({"result":{"session_id":"s"}})");
    send();
    answers->full = true;
    executor->runUntilIdle();
    answers->full = false;
    EXPECT_THAT(outcomes, testing::IsEmpty());
    executor->advance(APIService::kAnswerCheck);
    EXPECT_THAT(outcomes, testing::ElementsAre("result s"));
}

TEST_F(APIServiceTest, HeadersNameCallerDeviceAndUser) {
    auto headers = standardHeaders(config(), *device);
    std::string text;
    for (const auto& [name, value] : headers) text.append(name + "=" + value + "|");
    EXPECT_THAT(text, testing::MatchesRegex(
                          "x-api-key=key\\|timezone=Asia/Seoul\\|x-sdk-version=TestOS [0-9.]+\\|"
                          "user-agent=VelmorSDK/[0-9.]+ \\(TestOS 1\\.0; test1,1\\)\\|x-user-id=u1\\|"));
    headers.pop_back();
    EXPECT_EQ(standardHeaders(config(""), *device), headers);
    device->setTimeZone("Europe/Berlin", std::chrono::hours(1));  // the phone has travelled
    EXPECT_EQ(standardHeaders(config(""), *device).at(1).second, "Europe/Berlin");
}

}  // namespace
}  // namespace Velmor
