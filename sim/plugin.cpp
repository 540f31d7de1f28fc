// A plug-in of a host: it uses the library, and may be unloaded while the library works.
#include <Velmor/Velmor.hpp>

extern "C" __attribute__((visibility("default"))) void begin(const char* url) {
    Velmor::initVelmorConfig("key", "u1", Velmor::Url::parse(url), {}, {}, nullptr);
}
