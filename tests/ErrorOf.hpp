// What an operation throws, as text that a table can hold.
#pragma once

#include <exception>
#include <string>

namespace VelmorTests {

/// What the exception says; empty when there is none.
template <class Error = std::exception, class Code>
std::string errorOf(Code&& code) {
    try {
        code();
        return "";
    } catch (const Error& error) {
        return error.what();
    }
}

}  // namespace VelmorTests
