#include "service/Json/JsonText.hpp"

namespace VelmorService {

std::string jsonText(const Json& json) {
    std::string text;
    // Outside of strings JSON has none of the three.
    for (const char c : json.dump(-1, ' ', false, Json::error_handler_t::replace)) {
        if (c == '<') {
            text += "\\u003c";
        } else if (c == '>') {
            text += "\\u003e";
        } else if (c == '&') {
            text += "\\u0026";
        } else {
            text += c;
        }
    }
    return text;
}

}  // namespace VelmorService
