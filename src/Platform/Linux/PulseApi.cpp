#include "Platform/Linux/PulseApi.hpp"

#include "Platform/Linux/LoadedLibrary.hpp"

namespace Velmor {

std::shared_ptr<const PulseApi> PulseApi::load(const std::string& library) {
    const LoadedLibrary loaded(library, PlatformError::Kind::audioUnavailable,
                               "the library of the sound server");
    auto pulse = std::make_shared<PulseApi>();
#define VELMOR_PULSE_FIND(name) loaded.find("pa_" #name, pulse->name);
    VELMOR_PULSE_FUNCTIONS(VELMOR_PULSE_FIND)
#undef VELMOR_PULSE_FIND
    return pulse;
}

}  // namespace Velmor
