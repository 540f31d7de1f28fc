#include "Platform/Linux/PulseApi.hpp"

#include <dlfcn.h>

#include <Velmor/Error.hpp>

namespace Velmor {
namespace {

[[noreturn]] void fail() {
    const char* reason = dlerror();
    throw PlatformError(PlatformError::Kind::audioUnavailable,
                        std::string("the library of the sound server cannot be loaded: ") +
                            (reason != nullptr ? reason : "no reason given"));
}

template <class Function>
void find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) fail();
}

}  // namespace

std::shared_ptr<const PulseApi> PulseApi::load(const std::string& library) {
    void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (handle == nullptr) fail();
    auto pulse = std::make_shared<PulseApi>();
#define VELMOR_PULSE_FIND(name) find(handle, "pa_" #name, pulse->name);
    VELMOR_PULSE_FUNCTIONS(VELMOR_PULSE_FIND)
#undef VELMOR_PULSE_FIND
    return pulse;
}

}  // namespace Velmor
