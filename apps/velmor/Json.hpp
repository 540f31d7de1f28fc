// JSON of the command's own output.
#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

namespace VelmorApp {

/// Members in the order in which they are written.
using Json = nlohmann::ordered_json;

/// One line. Bytes that are not UTF-8, which a file name may have, become U+FFFD.
inline std::string jsonLine(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

inline void printJson(const Json& json) {
    std::fputs(jsonLine(json).c_str(), stdout);
}

}  // namespace VelmorApp
