#include "SessionScene.hpp"

namespace Velmor {
namespace {

using testing::ElementsAre;
using RequestValue = decltype(Request::value);

constexpr const char* kReport =
    R"({"result":{"timezone":"UTC","peculiarities":[],"missing_data_ratio":0,"session":{"id":"s1",)"
    R"("state":"OPEN","start_time":"2024-03-05T23:10:04Z","created_timezone":"UTC"}}})";

struct CallCase {
    RequestValue request;
    std::string methodAndPath, body, answer, line, state;
};

class SessionRequestsTest : public SessionScene {};

TEST_F(SessionRequestsTest, EveryRequestIsOneCallOneLineAndOneState) {
    const Config callingBack("key", "u1", Url::parse(kBaseUrl), Url::parse("https://me.test/done?x=1"),
                             "svc");
    const std::vector<CallCase> cases{
        {Request::userJoin{{}, config("")}, "POST ai/v1/users", "{}", R"({"result":{"user_id":"new"}})",
         "API: user join, id: nil", "userJoin new"},
        {Request::userJoin{"a/b", config("a/b")}, "GET ai/v1/users/a%2Fb", "",
         R"({"result":{"user_id":"a/b","last_session_info":{"session_id":"s","inference_type":"X",
            "service":"y","state":"NEW_ONE","start_time":"2024-03-05T23:10:04.5Z","end_time":null}}})",
         "API: user join, id: a/b", "userJoin a/b"},
        {Request::userDelete{config()}, "DELETE ai/v1/users/u1", "", "{}", "API: user delete, id: u1",
         "userDelete u1"},
        {Request::create{config(), start, SessionsService::DataType::mel}, "POST ai/v1/sessions",
         R"({"service":null,"upload_data_type":"MELSPECTROGRAM","session_start_time":"2024-03-05T23:10:04Z",)"
         R"("force_create":true,"callback_url":null,"callback_version":null})",
         R"({"result":{"session_id":"s1"}})", "API: session - create", "create s1"},
        {Request::create{callingBack, start, SessionsService::DataType::audio}, "POST ai/v1/sessions",
         R"({"service":"svc","upload_data_type":"AUDIO","session_start_time":"2024-03-05T23:10:04Z",)"
         R"("force_create":true,"callback_url":"https://me.test/done?x=1","callback_version":"V2"})",
         R"({"result":{"session_id":"s2"}})", "API: session - create", "create s2"},
        {Request::close{config(), "s1", start, true, {}}, "POST ai/v1/sessions/s1/close",
         R"({"session_end_time":"2024-03-05T23:10:04Z","unexpected":true})", R"({"result":{}})",
         "API: session id is s1 - close", "close s1"},
        {Request::analysis{config(), "s1"}, "GET data/v3/sessions/s1", "", kReport,
         "API: sessions analysis - id: s1", "analysis s1"}};
    for (const auto& [request, methodAndPath, body, answer, line, state] : cases) {
        http->enqueueStatus(200, answer);
        send(request);
        executor->runUntilIdle();
        EXPECT_EQ(sent().back(), methodAndPath);
        EXPECT_EQ(http->requests().back().body, body);
        EXPECT_THAT(debugLines, ElementsAre(line));
        EXPECT_THAT(states, ElementsAre(state));
        const auto headers = http->requests().back().headers;
        EXPECT_EQ(HttpHeaders(headers.end() - 2, headers.end()),
                  (HttpHeaders{{"Content-Type", "application/json"}, {"Accept", "application/json"}}));
        debugLines.clear();
        states.clear();
    }
    http->enqueueStatus(204);
    send(mel(7));
    executor->runUntilIdle();
    EXPECT_EQ(sent().back(), "POST ai/v1/sessions/s1/mel-data/7");
    EXPECT_THAT(http->requests().back().body,
                testing::HasSubstr("form-data; name=\"melspectrogram\"; filename=\"melspectrogram.npy\"\r\n"
                                   "Content-Type: \r\n\r\nbytes\r\n--"));
    EXPECT_THAT(debugLines, ElementsAre("API: session id is s1 - upload, sequence is 7"));
    EXPECT_THAT(states, ElementsAre("upload s1 7"));
}

HttpResult refusal(int status) {
    return HttpResponse{status, {}, R"({"result":{"error_code":3},"detail":"no"})"};
}

TEST_F(SessionRequestsTest, FailuresAreNamedByWhatWasAsked) {
    const HttpResult lost = PlatformError(PlatformError::Kind::timedOut, "late");
    const HttpResult empty = HttpResponse{200, {}, "{}"};
    const HttpResult garbage = HttpResponse{200, {}, "<html>"};
    const RequestValue join = Request::userJoin{"u1", config()};
    const RequestValue leave = Request::userDelete{config()};
    const RequestValue analysis = Request::analysis{config(), "s1"};
    const std::vector<std::tuple<RequestValue, HttpResult, std::string>> cases{
        {create(), refusal(403), "error startTrackingNetworkFail(403, no)"},
        {create(), empty, "error responseResult(ai/v1/sessions)"},
        {create(), lost, "error startTrackingNetworkFail(-9999, ) because of late"},
        {create(), garbage,
         "error startTrackingNetworkFail(-9999, ) because of cannot decode: not JSON at byte 1"},
        {close(), refusal(404), "error stopTrackingNetworkFail(404, no)"},
        {close(""), empty, "error stopTrackingNetworkFail(-9999, ) because of an id is empty"},
        {close(), lost, "error stopTrackingNetworkFail(-9999, ) because of late"},
        {mel(1), refusal(403), "error httpStatus(403, no) closed s1"},
        {mel(1), refusal(404), "error httpStatus(404, no) closed s1"},
        {mel(1), refusal(500), "error httpStatus(500, no)"},
        {mel(1, ".."), empty, "error unknown(an id is \"..\", which names another place)"},
        {mel(1), lost, "error unknown(late)"},
        {join, refusal(401), "error httpStatus(401, no)"},
        {join, empty, "error responseResult(ai/v1/users)"},
        {join, lost, "error unknown(late)"},
        {Request::userJoin{"", config("")}, empty, "error unknown(an id is empty)"},
        {leave, refusal(404), "error httpStatus(404, no)"},
        {Request::userDelete{config("..")}, empty,
         "error unknown(an id is \"..\", which names another place)"},
        {analysis, refusal(404), "error httpStatus(404, no)"},
        {analysis, empty, "error responseResult(data/v3/sessions/s1)"},
        {analysis, lost, "error unknown(late)"}};
    for (const auto& [request, answer, state] : cases) {
        http->setHandler([&answer = answer](const HttpRequest&) { return answer; });
        send(request);
        executor->runUntilIdle();
        EXPECT_THAT(states, ElementsAre(state));
        states.clear();
    }
}

}  // namespace
}  // namespace Velmor
