#include "Platform/Linux/LoadedLibrary.hpp"

#include "Runtime/Text.hpp"

#include <dlfcn.h>

namespace Velmor {

LoadedLibrary::LoadedLibrary(const std::string& file, PlatformError::Kind kind, const char* what)
    : kind_(kind), what_(what), handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE)) {
    if (handle_ == nullptr) fail();
}

void* LoadedLibrary::address(const char* name) const {
    return dlsym(handle_, name);
}

void LoadedLibrary::fail() const {
    const char* reason = dlerror();
    throw PlatformError(
        kind_, joined({what_, " cannot be loaded: ", reason != nullptr ? reason : "no reason given"}));
}

}  // namespace Velmor
