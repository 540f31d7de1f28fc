// The whole library among doubles: a bedroom that hums, a service that answers, and what the host hears as
// lines of text.
#pragma once

#include "../World.hpp"

#include <array>
#include <cctype>
#include <cmath>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <Velmor/Testing.hpp>
#include <Velmor/Velmor.hpp>

namespace Velmor {

using Lines = std::vector<std::string>;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

/// Writes down each call.
class Host : public VelmorConfigDelegate,
             public VelmorSleepTrackingManagerDelegate,
             public VelmorRecordingDelegate {
  public:
    explicit Host(Lines& lines) : lines_(lines) {}

    void userDidJoin(const std::string& userId, const Config& config) override {
        joined = config;
        note("userDidJoin " + userId);
    }
    void didFailUserJoin(const VelmorError& error) override {
        note("didFailUserJoin " + error.description());
    }
    void userDidDelete(const std::string& userId) override { note("userDidDelete " + userId); }
    void didCreate() override { note("didCreate"); }
    void didUpload(std::int64_t sequence) override { note("didUpload " + std::to_string(sequence)); }
    void didClose(const std::string& sessionId) override { note("didClose " + sessionId); }
    void didFail(const VelmorError& error) override { note("didFail " + error.description()); }
    void didInterrupt() override { note("didInterrupt"); }
    void didResume() override { note("didResume"); }
    void micPermissionWasDenied() override { note("micPermissionWasDenied"); }
    void recordedData(std::string data, std::int64_t sequence) override {
        note("recordedData " + std::to_string(sequence) + " of " + std::to_string(data.size()) + " bytes");
    }
    void analysing(const Model::Session& session) override { note("analysing " + session.id); }
    void trackingEnded(const TrackingOutcome& outcome) override { note("ended: " + inWords(outcome)); }
    static std::string inWords(const TrackingOutcome& outcome) {
        static constexpr std::array<const char*, 8> kKinds{"closed",     "notClosed",    "sessionGone",
                                                           "notCreated", "notRecording", "permissionDenied",
                                                           "stopped",    "abandoned"};
        return kKinds.at(static_cast<std::size_t>(outcome.kind)) +
               (outcome.sessionId ? " " + *outcome.sessionId : "") +
               (outcome.error ? ", " + outcome.error->description() : "");
    }

    std::optional<Config> joined;
    std::function<void(const std::string& line)> acts = [](const std::string&) {};  ///< inside each call

  private:
    void note(const std::string& line) {
        lines_.push_back(line);
        acts(line);
    }
    Lines& lines_;
};

class NightTest : public testing::Test, protected World {
  protected:
    NightTest() {
        platform->audio = microphone;
        platform->console = [](std::string_view) {};
        platform->logUrl.reset();  // as in a host
        setPlatform(*platform);
        http->setHandler([this](const HttpRequest& request) { return answer(request); });
    }

    ~NightTest() override {
        manager.reset();
        setPlatform({});  // ends whatever the test left under way
        executor->runUntilIdle();
        EXPECT_EQ(microphone->engines(), 0U) << "the microphone is released";
        EXPECT_EQ(http->inFlight(), 0U);
    }

    void join() {
        initVelmorConfig("key", "u1", Url::parse(kBaseUrl), {}, {}, host);
        executor->runUntilIdle();
        ASSERT_TRUE(host->joined);
        lines.clear();
    }

    void makeManager() {
        join();
        manager = createSleepTrackingManager(*host->joined, host);
    }

    /// What happens to a night, one word after the other: a number passes so many seconds, "500:/close" has
    /// the service refuse requests to places that end so.
    void play(const std::string& script) {
        std::istringstream words(script);
        for (std::string word; words >> word;) {
            if (word.find(':') != word.npos)
                refuse(word.substr(word.find(':') + 1), std::stoi(word));
            else if (std::isdigit(word[0]) != 0)
                executor->advance(milliseconds(std::lround(1000 * std::stod(word))));
            else
                words_.at(word)();
        }
    }

    void refuse(const std::string& place, int status) {
        answerWith = [place, status](const std::string& path) -> std::optional<HttpResult> {
            if (path.ends_with(place)) return HttpResponse{status, {}, R"({"detail":"no"})"};
            return {};
        };
    }

    /// Until the session is open.
    void begin() {
        makeManager();
        play("start 2");
        ASSERT_EQ(lines, Lines{"didCreate"});
        lines.clear();
    }

    std::optional<HttpResult> answer(const HttpRequest& request) {
        const auto path = placeOf(request);
        if (answerWith)
            if (auto special = answerWith(path)) return *special;
        if (path.ends_with("ai/v1/users") || path.find("ai/v1/users/") != path.npos)
            return ok(R"({"result":{"user_id":"u1"}})");
        if (path == "POST ai/v1/sessions")
            return ok(R"({"result":{"session_id":"s)" + std::to_string(++sessions) + R"("}})");
        if (path.starts_with("GET data/v3"))
            return HttpResponse{404, {}, R"({"result":{"error_code":4},"detail":"not analysed yet"})"};
        return ok("{}");
    }

    static HttpResponse ok(std::string body) { return {200, {}, std::move(body)}; }

    std::string logText() const { return files->contents("/documents/VelmorSDK.log").value_or(""); }

    std::shared_ptr<Testing::VirtualMicrophone> microphone =
        std::make_shared<Testing::VirtualMicrophone>(executor, clock, std::make_shared<Hum>());
    std::function<std::optional<HttpResult>(const std::string&)> answerWith;
    int sessions = 0;
    Lines lines;
    std::shared_ptr<Host> host = std::make_shared<Host>(lines);
    std::shared_ptr<SleepTrackingManager> manager;

  private:
    const std::map<std::string, std::function<void()>> words_{
        {"start", [this] { manager->startTracking(); }},
        {"stop", [this] { manager->stopTracking(); }},
        {"analysis", [this] { manager->requestAnalysis(); }},
        {"configure", [] { initVelmorConfig("key", "u1", Url::parse(kBaseUrl), {}, {}, nullptr); }},
        {"replace", [this] { manager = createSleepTrackingManager(*host->joined, std::weak_ptr<Host>()); }},
        {"slow", [this] { http->setDelay(seconds(4)); }},
        {"tick", [this] { clock->advance(milliseconds(1)); }},  // and nothing runs
        {"denied", [this] { microphone->setPermission(RecordPermission::denied); }},
        {"asking", [this] { microphone->setPermission(RecordPermission::undetermined); }},
        {"refusing",
         [this] {
             microphone->setPermission(RecordPermission::undetermined);
             microphone->setPermissionAnswers({false});
         }},
        {"broken", [this] { microphone->failStarting(PlatformError(PlatformError::Kind::io, "broken")); }},
        {"unfit",
         [this] {
             microphone->changeInputFormat({44'100.0, 1});
         }},
        {"interrupt", [this] { microphone->beginInterruption(); }},
        {"continue", [this] { microphone->endInterruption(); }},
        {"deaf", [this] { microphone->setDelivering(false); }},
        {"hearing", [this] { microphone->setDelivering(true); }}};
};

}  // namespace Velmor
