/// Everything that the library does not control, as one record of narrow interfaces. A host that wants
/// another transport, microphone or main loop fills in that field and calls `setPlatform` before anything
/// else.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include <Velmor/Export.hpp>
#include <Velmor/Platform/Audio.hpp>
#include <Velmor/Platform/Clock.hpp>
#include <Velmor/Platform/Device.hpp>
#include <Velmor/Platform/Executor.hpp>
#include <Velmor/Platform/Files.hpp>
#include <Velmor/Platform/Http.hpp>
#include <Velmor/Url.hpp>

namespace Velmor {

struct Platform {
    std::shared_ptr<Clock> clock;
    /// Runs one task at a time. Chunks are converted here and delegates called, so it must not be one on
    /// which the application blocks for long.
    std::shared_ptr<Executor> mainLoop;
    std::shared_ptr<Executor> tasks;       ///< independent tasks, possibly several at once
    std::shared_ptr<Executor> background;  ///< the same at low priority
    std::shared_ptr<HttpTransport> http;
    std::shared_ptr<AudioSystem> audio;
    std::shared_ptr<FileSystem> files;
    std::shared_ptr<Device> device;
    /// Takes console lines, without line end; standard error by default. Any thread.
    std::function<void(std::string_view)> console;
    /// Where the log is shipped; the production log proxy by default.
    std::optional<Url> logUrl;
};

/// Replaces the seams; empty fields get the system's own. Releases every shared object of the library
/// (manager, configuration, log) and gives up what they had under way. Meant to be called once, before
/// anything else; tests call it between nights. Not to be called while another thread is inside the library.
VELMOR_API void setPlatform(Platform platform);

}  // namespace Velmor
