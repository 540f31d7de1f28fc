// A scene among doubles for everything that talks to the service.
#pragma once

#include "../World.hpp"
#include "Log/LogAPI.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <Velmor/Config.hpp>

namespace Velmor {

class Scene : public testing::Test, protected World, public VelmorDebugLoggerDelegate {
  protected:
    Scene() {
        device->setTimeZone("Asia/Seoul", std::chrono::hours(9));
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
        return Config("key", std::move(userId), Url::parse(kBaseUrl));
    }

    std::shared_ptr<LogAPI> log = std::make_shared<LogAPI>(platform);
    std::vector<std::string> debugLines;
};

}  // namespace Velmor
