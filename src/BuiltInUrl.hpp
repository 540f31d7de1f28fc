// The URLs that the build was given.
#pragma once

#include <cstdio>
#include <cstdlib>

#include <Velmor/Url.hpp>

namespace Velmor {

/// Ends the process when the text is no URL: the build was given a wrong one.
inline Url builtInUrl(const char* text) {
    auto url = Url::tryParse(text);
    if (url) return *url;
    std::fprintf(stderr, "the build was given a URL that is none: %s\n", text);
    std::abort();
}

}  // namespace Velmor
