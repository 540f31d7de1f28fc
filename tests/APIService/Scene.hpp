// A platform of doubles around one manual executor, for everything that talks to the service.
#pragma once

#include "Log/LogAPI.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
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
        platform->clock = clock;
        platform->mainLoop = platform->tasks = platform->background = executor;
        platform->http = http;
        platform->files = files;
        platform->device = device;
        platform->logUrl = Url::parse("https://logs.test");
        setDebugLoggerDelegate(std::shared_ptr<VelmorDebugLoggerDelegate>(this, [](auto*) {}));
    }
    ~Scene() override { setDebugLoggerDelegate(nullptr); }

    void didPrint(const std::string& message) override {
        constexpr std::string_view kMark = "[Velmor SDK] ";
        debugLines.push_back(message.substr(message.find(kMark) + kMark.size()));
    }

    /// Lines of the log file, without time.
    std::vector<std::string> logged() const {
        std::vector<std::string> lines;
        std::istringstream text(files->contents("/documents/VelmorSDK.log").value_or(""));
        for (std::string line; std::getline(text, line);) lines.push_back(line.substr(line.find(" | ") + 3));
        return lines;
    }

    static Config config(std::string userId = "u1") {
        return Config("key", std::move(userId), Url::parse("https://api.test/base"));
    }

    std::shared_ptr<Testing::VirtualClock> clock = std::make_shared<Testing::VirtualClock>();
    std::shared_ptr<Testing::ManualExecutor> executor = std::make_shared<Testing::ManualExecutor>(clock);
    std::shared_ptr<Testing::ScriptedTransport> http = std::make_shared<Testing::ScriptedTransport>(executor);
    std::shared_ptr<Testing::MemoryFiles> files = std::make_shared<Testing::MemoryFiles>();
    std::shared_ptr<Testing::FixedDevice> device = std::make_shared<Testing::FixedDevice>();
    std::shared_ptr<Platform> platform = std::make_shared<Platform>();
    std::shared_ptr<LogAPI> log = std::make_shared<LogAPI>(platform);
    std::vector<std::string> debugLines;
};

}  // namespace Velmor
