#pragma once

// Broken promises of our own code. They end the process at once, naming the place and the expression: going
// on with arrays whose sizes disagree would upload nonsense. Faults that a caller can meet are exceptions
// instead.

#include <string_view>

namespace Velmor::Detail {

/// Writes "<source>: Fatal error: <text>" and a line end to standard error and aborts. The source is a file
/// name; its folder is left out.
[[noreturn]] void fatalError(std::string_view source, std::string_view text) noexcept;

}  // namespace Velmor::Detail

#define VELMOR_ASSERT(expression)                                \
    do {                                                         \
        if (!(expression)) [[unlikely]]                          \
            ::Velmor::Detail::fatalError(__FILE__, #expression); \
    } while (false)
