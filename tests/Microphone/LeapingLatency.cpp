// A sound library whose estimates of the latency leap: sometimes there is none, sometimes it is far off. All
// else is done by the real one, which this brings along.
#include <atomic>
#include <dlfcn.h>
#include <pulse/pulseaudio.h>

extern "C" __attribute__((visibility("default"))) int pa_stream_get_latency(pa_stream* stream,
                                                                            pa_usec_t* latency,
                                                                            int* negative) {
    static const auto real =
        reinterpret_cast<decltype(&pa_stream_get_latency)>(dlsym(RTLD_NEXT, "pa_stream_get_latency"));
    static std::atomic<unsigned> calls{0};
    const int result = real(stream, latency, negative);
    switch (calls++ % 4) {
        case 1:
            *latency += 300'000;  // us
            return result;
        case 2:
            *latency = 3'600'000'000;
            return result;
        case 3:
            return -PA_ERR_NODATA;
        default:
            return result;
    }
}
