#include "Platform/Linux/TlsWatch.hpp"

#include "Platform/Linux/CurlApi.hpp"

#include <dlfcn.h>
#include <string_view>

namespace Velmor {
namespace {

constexpr int kSetMessageArgument = 16;  // SSL_CTRL_SET_MSG_CALLBACK_ARG
constexpr int kAlert = 21;               // RFC 8446, 5.1
constexpr unsigned char kCloseNotify = 0;

using OnMessage = void (*)(int, int, int, const void*, std::size_t, void*, void*);

/// The few functions that are needed, of the very library that libcurl uses; a host may have another one
/// beside it.
struct OpenSsl {
    void (*setMessageCallback)(void* context, OnMessage callback) = nullptr;
    long (*control)(void* context, int command, long number, void* pointer) = nullptr;
    void (*setKeyLogCallback)(void* context, void (*callback)(const void*, const char*)) = nullptr;
    void* (*contextOf)(const void* connection) = nullptr;

    bool isComplete() const {
        return setMessageCallback != nullptr && control != nullptr && setKeyLogCallback != nullptr &&
               contextOf != nullptr;
    }
};

template <class Function>
void find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
}

OpenSsl load() {
    OpenSsl found;
    void* libcurl = dlopen(CurlApi::kLibrary, RTLD_LAZY | RTLD_NOLOAD);
    if (libcurl == nullptr) return found;
    decltype(&curl_version_info) version = nullptr;
    find(libcurl, "curl_version_info", version);
    const char* backend = version == nullptr ? nullptr : version(CURLVERSION_NOW)->ssl_version;
    if (backend == nullptr || !std::string_view(backend).starts_with("OpenSSL/")) return found;
    find(libcurl, "SSL_CTX_set_msg_callback", found.setMessageCallback);
    find(libcurl, "SSL_CTX_ctrl", found.control);
    find(libcurl, "SSL_CTX_set_keylog_callback", found.setKeyLogCallback);
    find(libcurl, "SSL_get_SSL_CTX", found.contextOf);
    return found;
}

const OpenSsl& openSsl() {
    static const OpenSsl loaded = load();
    return loaded;
}

}  // namespace

bool TlsWatch::isPossible() {
    return openSsl().isComplete();
}

void TlsWatch::watch(void* context, const void* owner) {
    const auto& tls = openSsl();
    if (!tls.isComplete()) return;
    connections_[owner] = {context, false};
    tls.setMessageCallback(context, &onMessage);
    tls.control(context, kSetMessageArgument, 0, this);
    tls.setKeyLogCallback(context, nullptr);
}

bool TlsWatch::mayBeWhole(const void* owner) const {
    const auto found = connections_.find(owner);
    return found == connections_.end() || found->second.farewell;
}

// By context: a connection may still speak after its owner has gone, and nobody is left to be told.
void TlsWatch::onMessage(int sent, int, int type, const void* bytes, std::size_t count, void* connection,
                         void* self) {
    const auto& tls = openSsl();
    if (sent != 0 || type != kAlert || count != 2 || !tls.isComplete()) return;
    if (static_cast<const unsigned char*>(bytes)[1] != kCloseNotify) return;
    const void* context = tls.contextOf(connection);
    for (auto& [owner, watched] : static_cast<TlsWatch*>(self)->connections_)
        if (watched.context == context) watched.farewell = true;
}

}  // namespace Velmor
