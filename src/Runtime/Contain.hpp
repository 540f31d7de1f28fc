// Runs code so that its exceptions end here: what is not ours (a delegate, a callback), and what may fail.
#pragma once

#include <string>
#include <utility>

namespace Velmor {

namespace detail {
/// Calls `report` with a text that describes the exception under way; for handlers.
void tellReason(void (*report)(void* reporter, const std::string& reason), void* reporter) noexcept;
}  // namespace detail

/// Calls `code` and ignores its exception: something that matters more comes behind it.
template <class Code>
void contain(Code&& code) noexcept {
    try {
        std::forward<Code>(code)();
    } catch (...) {
    }
}

/// Calls `code`; when it throws, calls `report` with a text that describes the exception.
template <class Code, class Report>
void contain(Code&& code, Report report) noexcept {
    try {
        std::forward<Code>(code)();
    } catch (...) {
        detail::tellReason(
            [](void* reporter, const std::string& reason) { (*static_cast<Report*>(reporter))(reason); },
            &report);
    }
}

}  // namespace Velmor
