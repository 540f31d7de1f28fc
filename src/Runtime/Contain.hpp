// Runs code that is not ours (a delegate, a callback) so that its exceptions end here.
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace Velmor {

/// Calls `code`; when it throws, calls `report` with a text that describes the exception.
template <class Code, class Report>
void contain(Code&& code, Report&& report) noexcept {
    try {
        try {
            std::forward<Code>(code)();
        } catch (const std::exception& error) {
            report(std::string(error.what()));
        } catch (...) {
            report(std::string("an exception that is not a std::exception"));
        }
    } catch (...) {  // the report failed too; nobody is left to tell
    }
}

}  // namespace Velmor
