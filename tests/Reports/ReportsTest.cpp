#include "../APIService/Scene.hpp"
#include "Records.hpp"
#include "Reports/ReportQueries.hpp"

#include <stdexcept>

namespace Velmor {
namespace {

using testing::ElementsAre;

template <class T>
std::string errorOf(const Async<T>& async) {
    return VelmorTests::errorOf<VelmorError>([&] { async.get(); });
}

class ReportsTest : public Scene {
  protected:
    ~ReportsTest() override { DeveloperMode::setOn(false); }

    /// Starts all four queries in their asynchronous form and returns their errors.
    std::vector<std::string> errorsOfAll() {
        const auto one = reports->report("s/1");
        const auto list = reports->reports("2024-03-01", "a b", Model::OrderBy::descending, -1, 20);
        const auto gone = reports->deleteReport("s1");
        const auto average = reports->getAverageReport("2024-03-01", "x&y#z");
        executor->runUntilIdle();
        return {errorOf(one), errorOf(list), errorOf(gone), errorOf(average)};
    }

    /// Starts all four in their callback form; each outcome becomes one line.
    void askAll(std::vector<std::string>& heard) {
        const auto hear = [&](const auto& result, const std::optional<VelmorError>& error) {
            EXPECT_NE(result.has_value(), error.has_value());
            if (!result)
                heard.push_back(error ? error->description() : "nothing");
            else if constexpr (requires { result->description(); })
                heard.push_back(result->description().substr(0, 12));
            else
                heard.push_back(std::to_string(result->size()) + " sessions");
        };
        reports->report("s1", hear);
        reports->reports("a", "b", Model::OrderBy::ascending, 0, 2, hear);
        reports->deleteReport("s1", [&](const std::optional<VelmorError>& error) {
            heard.push_back(error ? error->description() : "deleted");
        });
        reports->getAverageReport("a", "b", hear);
    }

    std::shared_ptr<ReportQueries> queries = ReportQueries::make(platform, log, config("u 1"));
    std::shared_ptr<Reports> reports = queries;
};

TEST_F(ReportsTest, RequestsAndLines) {
    http->setHandler([](const HttpRequest&) { return HttpResponse{200, {}, "{}"}; });
    EXPECT_THAT(
        errorsOfAll(),
        ElementsAre("responseResult(data/v3/sessions/s/1)",
                    "responseResult(data/v1/sessions?date_gte=2024-03-01&date_lte=a "
                    "b&order_by=DESC&offset=-1&limit=20)",
                    "responseResult(ai/v1/sessions/s1)",
                    "responseResult(data/v1/users/u 1/average-stats?start_date=2024-03-01&end_date=x&y#z)"));
    EXPECT_THAT(
        sent(),
        ElementsAre(
            "GET data/v3/sessions/s%2F1",
            "GET data/v1/sessions?date_gte=2024-03-01&date_lte=a%20b&order_by=DESC&offset=-1&limit=20",
            "DELETE ai/v1/sessions/s1",
            "GET data/v1/users/u%201/average-stats?start_date=2024-03-01&end_date=x&y%23z"));
    EXPECT_THAT(logged(),
                ElementsAre("I | reports | [CALL] report callback s/1",
                            "I | reports | [CALL] reports callback 2024-03-01 - a b, offset : -1, limit : 20",
                            "I | reports | [CALL] deleteReport callback s1",
                            "I | reports | [CALL] getAverageReport async 2024-03-01 - x&y#z"));
    EXPECT_THAT(
        debugLines,
        ElementsAre("Reports: get report, sessionId = s/1", "Reports: get sessions, from: 2024-03-01 to: a b",
                    "Reports: delete report, sessionId = s1",
                    "Reports: get average report, userId = u 1 from: 2024-03-01 to: x&y#z"));
}

TEST_F(ReportsTest, DeveloperModeRefusesAllButOneReportBeforeAnyRequest) {
    http->setHandler([](const HttpRequest&) { return HttpResponse{401, {}, "{}"}; });
    DeveloperMode::setOn(true);
    EXPECT_THAT(errorsOfAll(), ElementsAre("httpStatus(401, )", "unsupportedInDeveloperMode",
                                           "unsupportedInDeveloperMode", "unsupportedInDeveloperMode"));
    EXPECT_EQ(http->requestCount(), 1U);
}

TEST_F(ReportsTest, FailuresOfEveryKindAreVelmorErrors) {
    http->enqueueFailure(PlatformError::Kind::timedOut, "late");
    http->enqueueStatus(200, R"({"result":[]})");
    http->enqueueStatus(204);
    http->enqueueStatus(404, "<html>");
    EXPECT_THAT(
        errorsOfAll(),
        ElementsAre("unknown(late)", "unknown(cannot decode result: expected an object, found an array)",
                    "responseResult(ai/v1/sessions/s1)",
                    testing::StartsWith("unknown(cannot decode: not JSON at byte ")));
    EXPECT_EQ(errorOf(reports->report("")), "unknown(an id is empty)");
    queries->setConfig(config(""));
    EXPECT_EQ(errorOf(reports->getAverageReport("a", "b")),
              "responseResult(data/v1/users//average-stats?start_date=a&end_date=b)");
    EXPECT_EQ(http->requestCount(), 4U);
}

TEST_F(ReportsTest, ResultsArriveInBothForms) {
    http->setHandler([](const HttpRequest& request) -> HttpResult {
        const auto path = request.url.absoluteString();
        const auto is = [&](const char* part) { return path.find(part) != std::string::npos; };
        const auto result = is("v3")        ? kReportJson
                            : is("average") ? kAverageJson
                            : is("ai/v1")   ? "{}"
                                            : kListJson;
        return HttpResponse{200, {}, "{\"result\":" + result + "}"};
    });
    std::vector<std::string> heard;
    askAll(heard);
    queries->setConfig(config("bob"));  // too late for those four
    EXPECT_EQ(http->requestCount(), 0U) << "on the caller's thread";
    const std::vector<std::string> entries{
        "I | reports | [CALL] report callback s1",
        "I | reports | [CALL] reports callback a - b, offset : 0, limit : 2",
        "I | reports | [CALL] deleteReport callback s1",
        "I | reports | [CALL] getAverageReport callback a - b"};
    EXPECT_EQ(logged(), entries);
    executor->runUntilIdle();
    EXPECT_THAT(heard, ElementsAre("Timezone: As", "2 sessions", "deleted", "Period: [tim"));
    for (const auto& request : http->requests())
        EXPECT_THAT(request.headers,
                    testing::Contains(std::pair<std::string, std::string>("x-user-id", "u 1")));
    EXPECT_EQ(sent().back(), "GET data/v1/users/u%201/average-stats?start_date=a&end_date=b");

    const auto list = reports->reports("a", "b", Model::OrderBy::ascending, 0, 2);
    queries->setConfig(config("carol"));
    executor->runUntilIdle();
    EXPECT_EQ(list.get().at(0).sessionId, "s1");
    EXPECT_EQ(http->requests().back().headers.at(4).second, "bob");
}

TEST_F(ReportsTest, CallbacksHearOfErrorsAndMayThrow) {
    http->setHandler([](const HttpRequest&) { return HttpResponse{403, {}, R"({"detail":"no"})"}; });
    std::vector<std::string> heard;
    askAll(heard);
    executor->runUntilIdle();
    EXPECT_EQ(heard, std::vector<std::string>(4, "httpStatus(403, no)"));

    reports->report("s1", [&](const auto&, const auto&) { throw std::runtime_error("host"); });
    executor->runUntilIdle();
    EXPECT_EQ(logged().back(), "E | reports | Completion block failed: host");
}

}  // namespace
}  // namespace Velmor
