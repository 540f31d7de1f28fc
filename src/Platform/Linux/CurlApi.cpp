#include "Platform/Linux/CurlApi.hpp"

#include "Platform/Linux/LoadedLibrary.hpp"

#include <cstdint>

namespace Velmor {
namespace {

// OpenSSL would take its locks away when the process exits, also from under a thread of ours that is just
// ending. What it has allocated then stays until the process is gone. Without effect where the host has
// initialised it before.
void keepOpenSslUntilTheEnd(const LoadedLibrary& libcurl) {
    constexpr std::uint64_t kNoAtExit = 0x80000;  // OPENSSL_INIT_NO_ATEXIT
    int (*initialise)(std::uint64_t options, const void* settings) = nullptr;
    if (libcurl.findIfThere("OPENSSL_init_crypto", initialise)) initialise(kNoAtExit, nullptr);
}

}  // namespace

CurlApi CurlApi::load(const std::string& library) {
    const LoadedLibrary loaded(library, PlatformError::Kind::cannotConnect, "libcurl");
    CurlApi curl;
#define VELMOR_CURL_FIND(name) loaded.find("curl_" #name, curl.name);
    VELMOR_CURL_FUNCTIONS(VELMOR_CURL_FIND)
#undef VELMOR_CURL_FIND
    keepOpenSslUntilTheEnd(loaded);
    // Never cleaned up: the host may use libcurl too, and only the process can know when that is over.
    if (curl.global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK)
        throw PlatformError(PlatformError::Kind::cannotConnect, "libcurl cannot be initialised");
    return curl;
}

}  // namespace Velmor
