#include "APIService/MultipartFormDataRequest.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Velmor/Testing.hpp>

namespace Velmor {
namespace {

TEST(MultipartFormDataRequest, BytesOfOneFile) {
    const Testing::FixedDevice device;
    const auto url = Url::parse("https://api.test/upload").value();
    MultipartFormDataRequest form(url, device);
    const std::string bytes("\x93NUMPY\0\r\n--x", 12);
    form.addFile("melspectrogram", "melspectrogram.npy", bytes, "");
    const auto request = form.makeRequest({.method = "GET",
                                           .url = url,
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

TEST(MultipartFormDataRequest, BoundariesAreUpperCaseUuidsOfTheirOwn) {
    const Testing::FixedDevice device;
    const auto url = Url::parse("https://api.test/upload").value();
    const MultipartFormDataRequest first(url, device);
    const MultipartFormDataRequest second(url, device);
    EXPECT_THAT(first.boundary(),
                testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-"
                                      "[0-9A-F]{12}"));
    EXPECT_NE(first.boundary(), second.boundary());
}

}  // namespace
}  // namespace Velmor
