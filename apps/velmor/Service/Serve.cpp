#include "Commands.hpp"
#include "Interrupt.hpp"
#include "Json.hpp"
#include "Service/Peer.hpp"
#include "service/LocalService.hpp"

#include <chrono>
#include <cstdio>
#include <thread>

namespace VelmorApp {

ExitCode serve(const SharedOptions& shared, const ServeOptions& options, Screen& screen) {
    const std::string directory = serviceDirectory(shared);
    VelmorService::LocalServiceOptions settings;
    settings.directory = directory;
    settings.port = options.port;
    settings.apiKey = shared.apiKey;
    VelmorService::LocalService service(settings);
    if (shared.json)
        printJson({{"event", "serving"}, {"url", service.url()}, {"directory", directory}});
    else
        std::printf("%s\n", service.url().c_str());
    std::fflush(stdout);
    screen.remark("Serving, data in " + directory + ". Ctrl-C ends it.");
    while (!interruptRequested()) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    service.stop();
    return ExitCode::done;
}

}  // namespace VelmorApp
