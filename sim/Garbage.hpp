// What a service, or whoever answers in its place, may say instead of an answer: in the simulated nights and
// in the fault tables.
#pragma once

#include <string>
#include <vector>

namespace Velmor::Nights {

struct Garbage {
    const char* name;
    std::string body;
    const char* place;  ///< that the error names; empty where the text is no JSON at all
};

inline const std::vector<Garbage>& garbage() {
    static const std::vector<Garbage> all{{"garbage/empty", "", ""},
                                          {"garbage/captive-portal", "<html><body>Sign in</body></html>", ""},
                                          {"garbage/truncated", R"({"result":)", ""},
                                          {"garbage/array", "[1]", ""},
                                          {"garbage/byte-order-mark", "\xEF\xBB\xBF{}", ""},
                                          {"garbage/zero-byte", std::string("{}\0", 3), ""},
                                          {"garbage/wrong-type", R"({"detail":7})", "detail"},
                                          {"garbage/million-levels", std::string(1'000'000, '['), ""},
                                          {"garbage/million-objects",
                                           [] {
                                               std::string deep;
                                               for (int i = 0; i < 500'000; ++i) deep += R"({"a":)";
                                               return deep;
                                           }(),
                                           ""},
                                          {"garbage/nan", R"({"result":NaN})", ""},
                                          {"garbage/huge-number", R"({"other":1e999})", ""},
                                          {"garbage/bad-utf8", "{\"detail\":\"\xC3\x28\"}", ""},
                                          {"garbage/lone-surrogate", R"({"detail":"\ud800"})", ""},
                                          {"garbage/two-values", "{} {}", ""}};
    return all;
}

}  // namespace Velmor::Nights
