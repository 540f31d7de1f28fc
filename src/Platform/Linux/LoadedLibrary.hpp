// A library that is loaded at run time, when it is first wanted: a host that never comes to that does not
// carry it, and one on a machine without it starts all the same.
#pragma once

#include <string>

#include <Velmor/Error.hpp>

namespace Velmor {

/// Never unloaded: such libraries leave data with threads and functions for the end of the process.
class LoadedLibrary {
  public:
    /// Throws PlatformError of the given kind: "`what` cannot be loaded: " and the loader's reason.
    LoadedLibrary(const std::string& file, PlatformError::Kind kind, const char* what);

    /// Throws the same when there is no such function.
    template <class Function>
    void find(const char* name, Function& function) const {
        if (!findIfThere(name, function)) fail();
    }
    /// False when there is none, there and in the libraries that it brings.
    template <class Function>
    bool findIfThere(const char* name, Function& function) const {
        function = reinterpret_cast<Function>(address(name));
        return function != nullptr;
    }

  private:
    void* address(const char* name) const;
    [[noreturn]] void fail() const;

    const PlatformError::Kind kind_;
    const char* const what_;
    void* handle_ = nullptr;
};

}  // namespace Velmor
