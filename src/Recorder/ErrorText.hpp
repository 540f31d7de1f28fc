// What an exception says, for log lines.
#pragma once

#include <exception>
#include <string>

namespace Velmor {

inline std::string errorText(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& known) {
        return known.what();
    } catch (...) {
        return "unknown error";
    }
}

}  // namespace Velmor
