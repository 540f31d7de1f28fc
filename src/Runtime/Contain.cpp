#include "Runtime/Contain.hpp"

#include <exception>

namespace Velmor::detail {

void tellReason(void (*report)(void* reporter, const std::string& reason), void* reporter) noexcept {
    try {
        try {
            throw;
        } catch (const std::exception& error) {
            report(reporter, error.what());
        } catch (...) {
            report(reporter, "an exception that is not a std::exception");
        }
    } catch (...) {  // the report failed too; nobody is left to tell
    }
}

}  // namespace Velmor::detail
