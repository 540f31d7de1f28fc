// A platform of doubles.
#pragma once

#include <memory>

#include <Velmor/Platform.hpp>
#include <Velmor/Testing.hpp>

namespace Velmor::Fuzz {

struct World {
    std::shared_ptr<Testing::VirtualClock> clock = std::make_shared<Testing::VirtualClock>();
    std::shared_ptr<Testing::ManualExecutor> loop = std::make_shared<Testing::ManualExecutor>(clock);
    std::shared_ptr<Testing::ScriptedTransport> http = std::make_shared<Testing::ScriptedTransport>(loop);
    std::shared_ptr<Testing::MemoryFiles> files = std::make_shared<Testing::MemoryFiles>();
    std::shared_ptr<Testing::FixedDevice> device = std::make_shared<Testing::FixedDevice>();
    std::shared_ptr<Platform> platform = std::make_shared<Platform>(
        Platform{clock, loop, loop, loop, http, {}, files, device, {}, Url::parse("https://logs.test")});
};

}  // namespace Velmor::Fuzz
