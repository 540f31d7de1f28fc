#include "APIService/Endpoint.hpp"

#include <gtest/gtest.h>

#include <Velmor/Error.hpp>

namespace Velmor {
namespace {

const Url kBase = Url::parse("https://api.test/base").value();

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
        EXPECT_EQ(Endpoint("x/").id(id).text("/y").url(kBase).absoluteString(),
                  "https://api.test/base/x/" + segment + "/y");
}

TEST(Endpoint, IdsThatNameNothingOrSomethingElseAreRefused) {
    for (const std::string& id : {std::string(), std::string("."), std::string(".."), std::string("a\r\nb"),
                                  std::string("a\0b", 3), std::string("a\x7F")}) {
        const auto endpoint = Endpoint("x/").id(id).text("/y");
        try {
            endpoint.url(kBase);
            ADD_FAILURE() << "accepted: " << id;
        } catch (const VelmorError& error) {
            ASSERT_TRUE(error.is<VelmorError::responseResult>());
            EXPECT_EQ(error.as<VelmorError::responseResult>()->endpoint, "x/" + id + "/y");
        }
    }
}

TEST(Endpoint, QueriesKeepTheirStructureAndNothingElse) {
    EXPECT_EQ(Endpoint("").query("d?a=1 2&b=\xC3\xA9#%\r\n/:@").url(kBase).absoluteString(),
              "https://api.test/base/d?a=1%202&b=%C3%A9%23%25%0D%0A/:@");
}

}  // namespace
}  // namespace Velmor
