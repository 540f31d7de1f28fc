#include "Runtime/DefaultPlatform.hpp"

#include "BuildSettings.hpp"
#include "Runtime/GuardedExecutor.hpp"
#include "Runtime/ThreadExecutor.hpp"

#include <cstdio>
#include <string>
#include <utility>

namespace Velmor {
namespace {

// One call for the whole line, so that lines of several threads do not mix.
void printLine(std::string_view line) {
    std::string text(line);
    text.push_back('\n');
    std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace

std::shared_ptr<const Platform> completePlatform(Platform given) {
    if (!given.clock) given.clock = makeClock();
    if (!given.mainLoop) given.mainLoop = makeThreadExecutor(given.clock, 1, "velmor-main");
    if (!given.tasks) given.tasks = makeThreadExecutor(given.clock, 2, "velmor-task");
    if (!given.background) given.background = makeThreadExecutor(given.clock, 1, "velmor-low", true);
    if (!given.http) given.http = makeHttpTransport();
    if (!given.audio) given.audio = makeAudioSystem(given.clock);
    if (!given.files) given.files = makeFileSystem();
    if (!given.device) given.device = makeDevice();
    if (!given.console) given.console = printLine;
    if (!given.logUrl) given.logUrl = Url::parse(BuildSettings::kLogUrl);
    for (auto* executor : {&given.mainLoop, &given.tasks, &given.background})
        *executor = std::make_shared<GuardedExecutor>(std::move(*executor), given.console);
    return std::make_shared<const Platform>(std::move(given));
}

}  // namespace Velmor
