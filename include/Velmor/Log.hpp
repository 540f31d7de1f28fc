/// The live debug log.
#pragma once

#include <memory>
#include <string>

#include <Velmor/Export.hpp>

namespace Velmor {

/// Implemented by the application to see what the library does as it does it.
class VELMOR_API VelmorDebugLoggerDelegate {
  public:
    virtual ~VelmorDebugLoggerDelegate();
    /// One line, for instance "2024-03-05 23:10:04.512 [Velmor SDK] Tracking: request start". Called on
    /// whatever thread the event happens on. It may call anything of the library's: lines that come of that
    /// on the same thread, before it returns, are not told to it but printed on the console alone. An
    /// exception is dropped.
    virtual void didPrint(const std::string& message) = 0;
};

/// Process-wide, replaces any earlier one; null clears the slot, and no line is told or printed any more. Any
/// thread.
VELMOR_API void setDebugLoggerDelegate(std::shared_ptr<VelmorDebugLoggerDelegate> delegate);

}  // namespace Velmor
