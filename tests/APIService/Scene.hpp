// A platform of doubles around one manual executor, for everything that talks to the service.
#pragma once

#include "Log/LogAPI.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <Velmor/Config.hpp>
#include <Velmor/Platform.hpp>
#include <Velmor/Testing.hpp>

namespace Velmor {

class Scene : public testing::Test, public VelmorDebugLoggerDelegate {
  protected:
    Scene() {
        device->setTimeZone("Asia/Seoul", std::chrono::hours(9));
        auto made = std::make_shared<Platform>();
        made->clock = clock;
        made->mainLoop = made->tasks = made->background = executor;
        made->http = http;
        made->files = files;
        made->device = device;
        made->logUrl = Url::parse("https://logs.test");
        platform = made;
        log = std::make_shared<LogAPI>(platform);
        setDebugLoggerDelegate(std::shared_ptr<VelmorDebugLoggerDelegate>(this, [](auto*) {}));
    }
    ~Scene() override { setDebugLoggerDelegate(nullptr); }

    void didPrint(const std::string& message) override {
        constexpr std::string_view kMark = "[Velmor SDK] ";
        debugLines.push_back(message.substr(message.find(kMark) + kMark.size()));
    }

    static Config config(std::string userId = "u1") {
        return Config("key", std::move(userId), Url::parse("https://api.test/base"));
    }

    std::shared_ptr<Testing::VirtualClock> clock = std::make_shared<Testing::VirtualClock>();
    std::shared_ptr<Testing::ManualExecutor> executor = std::make_shared<Testing::ManualExecutor>(clock);
    std::shared_ptr<Testing::ScriptedTransport> http = std::make_shared<Testing::ScriptedTransport>(executor);
    std::shared_ptr<Testing::MemoryFiles> files = std::make_shared<Testing::MemoryFiles>();
    std::shared_ptr<Testing::FixedDevice> device = std::make_shared<Testing::FixedDevice>();
    std::shared_ptr<const Platform> platform;
    std::shared_ptr<LogAPI> log;
    std::vector<std::string> debugLines;
};

}  // namespace Velmor
