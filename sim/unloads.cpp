// velmor-unloads: a host that knows nothing of the library but a plug-in that uses it, and lets the plug-in
// go while the library's threads work.
#include "MuteServer.hpp"

#include <chrono>
#include <cstdio>
#include <dlfcn.h>

int main() {
    using namespace std::chrono_literals;
    Velmor::Nights::MuteServer server;
    void* const plugin = dlopen(VELMOR_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr) return std::fprintf(stderr, "%s\n", dlerror()), 1;
    const auto begin = reinterpret_cast<void (*)(const char*)>(dlsym(plugin, "begin"));
    begin(server.url().c_str());
    for (int i = 0; i < 5'000 && server.connections() == 0; ++i) std::this_thread::sleep_for(1ms);
    if (server.connections() == 0) return std::fprintf(stderr, "no request began\n"), 1;
    dlclose(plugin);
    server.hangUp();  // wakes the transport's thread, and that the main loop's
    std::this_thread::sleep_for(100ms);
    std::puts("the plug-in has gone, and nobody missed it");
    return 0;
}
