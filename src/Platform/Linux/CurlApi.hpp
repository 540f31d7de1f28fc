// The functions of libcurl that are used here. It brings thirty libraries with it and is loaded when the
// first request goes out.
#pragma once

#include <curl/curl.h>
#include <string>

namespace Velmor {

// NOLINTBEGIN(cppcoreguidelines-macro-usage): one list for the table, its types and the names looked up
#define VELMOR_CURL_FUNCTIONS(each)                                                                         \
    each(global_init) each(multi_init) each(multi_cleanup) each(multi_add_handle) each(multi_remove_handle) \
        each(multi_perform) each(multi_poll) each(multi_wakeup) each(multi_info_read) each(easy_init)       \
            each(easy_cleanup) each(easy_setopt) each(easy_getinfo) each(easy_strerror) each(slist_append)  \
                each(slist_free_all)
// NOLINTEND(cppcoreguidelines-macro-usage)

struct CurlApi {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a name that is declared stands bare
#define VELMOR_CURL_MEMBER(name) decltype(&::curl_##name) name = nullptr;
    VELMOR_CURL_FUNCTIONS(VELMOR_CURL_MEMBER)
#undef VELMOR_CURL_MEMBER

    static constexpr const char* kLibrary = "libcurl.so.4";
    /// Loaded and initialised. Throws PlatformError, kind `cannotConnect`.
    static CurlApi load(const std::string& library);
};

}  // namespace Velmor
