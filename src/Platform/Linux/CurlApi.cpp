#include "Platform/Linux/CurlApi.hpp"

#include "Platform/Linux/LoadedLibrary.hpp"

namespace Velmor {

CurlApi CurlApi::load(const std::string& library) {
    const LoadedLibrary loaded(library, PlatformError::Kind::cannotConnect, "libcurl");
    CurlApi curl;
#define VELMOR_CURL_FIND(name) loaded.find("curl_" #name, curl.name);
    VELMOR_CURL_FUNCTIONS(VELMOR_CURL_FIND)
#undef VELMOR_CURL_FIND
    // Never cleaned up: the host may use libcurl too, and only the process can know when that is over.
    if (curl.global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK)
        throw PlatformError(PlatformError::Kind::cannotConnect, "libcurl cannot be initialised");
    return curl;
}

}  // namespace Velmor
