#include "../ErrorOf.hpp"
#include "APIService/Endpoint.hpp"
#include "APIService/MultipartFormDataRequest.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Velmor/Testing.hpp>

namespace Velmor {
namespace {

const Url kBase = Url::parse("https://api.test/base");

TEST(Endpoint, AnIdIsOneSegmentWhateverItHolds) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"20240305-a_b~c.d", "20240305-a_b~c.d"},
        {"a/b", "a%2Fb"},
        {"../users", "..%2Fusers"},
        {"...", "..."},
        {"a?b#c", "a%3Fb%23c"},
        {"100%", "100%25"},
        {"a b+c", "a%20b%2Bc"},
        {"\xC3\xA9\xF0\x9F\x98\xB4", "%C3%A9%F0%9F%98%B4"},
        {"\xFF", "%FF"}};
    for (const auto& [id, segment] : cases)
        EXPECT_EQ(Endpoint("GET", "x/").id(id).text("/y").url(kBase).absoluteString(),
                  "https://api.test/base/x/" + segment + "/y");
}

TEST(Endpoint, IdsThatNameNothingOrSomethingElseAreRefused) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"", "an id is empty"},
        {".", "an id is \".\", which names another place"},
        {"..", "an id is \"..\", which names another place"},
        {"a\r\nb", "an id holds a control character: byte 2 is 13"},
        {"\x01", "an id holds a control character: byte 1 is 1"},
        {"a-\x7F", "an id holds a control character: byte 3 is 127"}};
    for (const auto& [id, fault] : cases) {
        const auto refused = Endpoint("GET", "x/").id(id).text("/y");
        EXPECT_EQ(VelmorTests::errorOf<PlatformError>([&] { refused.url(kBase); }), fault);
        const auto first = Endpoint("GET", "").id(id).text("/").id(id + "\n");
        EXPECT_EQ(VelmorTests::errorOf<PlatformError>([&] { first.url(kBase); }), fault);
        const auto withQuery = Endpoint("GET", "x/").id(id).query("/y?z");
        EXPECT_EQ(VelmorTests::errorOf<VelmorError>([&] { withQuery.url(kBase); }),
                  VelmorError(VelmorError::responseResult{"x/" + id + "/y?z"}).description());
    }
}

TEST(Endpoint, QueriesKeepTheirStructureAndNothingElse) {
    EXPECT_EQ(Endpoint("GET", "").query("d?a=1 2&b=\xC3\xA9#%\r\n/:@").url(kBase).absoluteString(),
              "https://api.test/base/d?a=1%202&b=%C3%A9%23%25%0D%0A/:@");
}

TEST(MultipartFormDataRequest, BytesOfOneFile) {
    const Testing::FixedDevice device;
    MultipartFormDataRequest form(kBase, device);
    EXPECT_THAT(form.boundary(),
                testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
    EXPECT_NE(form.boundary(), MultipartFormDataRequest(kBase, device).boundary());
    const std::string bytes("\x93NUMPY\0\r\n--x", 12);
    form.addFile("melspectrogram", "melspectrogram.npy", bytes, "");
    const auto request = form.makeRequest({.method = "GET",
                                           .url = kBase,
                                           .headers = {{"x-api-key", "k"},
                                                       {"content-type", "application/json"},
                                                       {"Accept", "application/json"},
                                                       {"CONTENT-TYPE", "text/plain"}},
                                           .body = {}});
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.headers,
              (HttpHeaders{{"x-api-key", "k"},
                           {"Content-Type", "multipart/form-data; boundary=" + form.boundary()},
                           {"Accept", "application/json"}}));
    EXPECT_EQ(request.body, "--" + form.boundary() +
                                "\r\nContent-Disposition: form-data; name=\"melspectrogram\"; "
                                "filename=\"melspectrogram.npy\"\r\nContent-Type: \r\n\r\n" +
                                bytes + "\r\n--" + form.boundary() + "--");
}

}  // namespace
}  // namespace Velmor
