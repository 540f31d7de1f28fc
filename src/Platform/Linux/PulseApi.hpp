// The functions of libpulse that are used here. It is loaded when a microphone is first wanted.
#pragma once

#include <memory>
#include <pulse/pulseaudio.h>
#include <string>

namespace Velmor {

// NOLINTBEGIN(cppcoreguidelines-macro-usage): one list for the table, its types and the names looked up
#define VELMOR_PULSE_FUNCTIONS(each)                                                                        \
    each(mainloop_new) each(mainloop_free) each(mainloop_get_api) each(mainloop_set_poll_func)              \
        each(mainloop_prepare) each(mainloop_poll) each(mainloop_dispatch) each(mainloop_wakeup)            \
            each(context_new) each(context_unref) each(context_connect) each(context_disconnect)            \
                each(context_errno) each(context_get_state) each(context_set_state_callback)                \
                    each(stream_new) each(stream_unref) each(stream_connect_record) each(stream_disconnect) \
                        each(stream_get_state) each(stream_get_device_name) each(stream_is_suspended)       \
                            each(stream_get_latency) each(stream_peek) each(stream_drop)                    \
                                each(stream_set_state_callback) each(stream_set_read_callback)              \
                                    each(stream_set_suspended_callback) each(stream_set_moved_callback)     \
                                        each(strerror)
// NOLINTEND(cppcoreguidelines-macro-usage)

struct PulseApi {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a name that is declared stands bare
#define VELMOR_PULSE_MEMBER(name) decltype(&::pa_##name) name = nullptr;
    VELMOR_PULSE_FUNCTIONS(VELMOR_PULSE_MEMBER)
#undef VELMOR_PULSE_MEMBER

    static constexpr const char* kLibrary = "libpulse.so.0";
    /// Throws PlatformError, kind `audioUnavailable`.
    static std::shared_ptr<const PulseApi> load(const std::string& library);
};

}  // namespace Velmor
