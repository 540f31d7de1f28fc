// The microphone against a real sound server that the test starts, stops, kills and rearranges.
#include "Platform/Linux/PulseApi.hpp"
#include "Platform/Linux/PulseAudio.hpp"
#include "SoundServer.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <condition_variable>
#include <cstdlib>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <numbers>
#include <thread>

namespace Velmor::Tests {
namespace {

using namespace std::chrono_literals;
using Began = AudioNotification::InterruptionBegan;
using Ended = AudioNotification::InterruptionEnded;
using Moved = AudioNotification::RouteChanged;
using Reset = AudioNotification::MediaServicesReset;

constexpr double kRate = 48'000.0;
// A new null sink renders two seconds ahead, and has nothing to be heard until those have passed.
constexpr auto kFirstFrames = 4s;

/// What a recording service would have heard.
class Listener {
  public:
    AudioEngine::Tap tap() {
        return [this](std::span<const float> frames, BootTime captured) {
            const std::lock_guard lock(mutex_);
            if (closed_) ++late_;
            heard_.frames.insert(heard_.frames.end(), frames.begin(), frames.end());
            heard_.times.emplace_back(heard_.frames.size(), captured);
            changed_.notify_all();
        };
    }
    AudioSession::Observer observer() {
        return [this](const AudioNotification& notification) {
            const std::lock_guard lock(mutex_);
            told_.push_back(notification);
            changed_.notify_all();
        };
    }

    /// Whether that many more frames come within the time.
    bool hears(std::size_t frames, std::chrono::milliseconds within) {
        std::unique_lock lock(mutex_);
        const auto wanted = heard_.frames.size() + frames;
        return changed_.wait_for(lock, within, [&] { return heard_.frames.size() >= wanted; });
    }
    /// Whether such a notification comes within the time; it is taken.
    template <class Event>
    std::optional<AudioNotification> isTold(std::chrono::milliseconds within) {
        std::unique_lock lock(mutex_);
        auto found = told_.end();
        changed_.wait_for(lock, within, [&] {
            found = std::find_if(told_.begin(), told_.end(), [](const AudioNotification& notification) {
                return std::holds_alternative<Event>(notification.event);
            });
            return found != told_.end();
        });
        if (found == told_.end()) return std::nullopt;
        auto notification = *found;
        told_.erase(found);
        return notification;
    }
    /// From now on frames are late.
    void close() {
        const std::lock_guard lock(mutex_);
        closed_ = true;
    }
    std::size_t late() {
        const std::lock_guard lock(mutex_);
        return late_;
    }
    struct Heard {
        std::vector<float> frames;
        std::vector<std::pair<std::size_t, BootTime>> times;  // number of frames up to a time
    };
    /// What came since the last call.
    Heard heard() {
        const std::lock_guard lock(mutex_);
        return std::exchange(heard_, {});
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Heard heard_;
    std::vector<AudioNotification> told_;
    bool closed_ = false;
    std::size_t late_ = 0;
};

/// A tone as seen by windows of 20 ms: its amplitude, and its phase against a clock that runs at its pitch.
struct Reading {
    double amplitude;
    double phase;  // rad
};

std::vector<Reading> follow(double tone, std::span<const float> samples) {
    constexpr std::size_t kWindow = 960;
    std::vector<Reading> readings;
    for (std::size_t begin = 0; begin + kWindow <= samples.size(); begin += kWindow) {
        std::complex<double> sum;
        for (std::size_t i = begin; i < begin + kWindow; ++i)
            sum += std::polar(1.0, -2.0 * std::numbers::pi * tone * static_cast<double>(i) / kRate) *
                   static_cast<double>(samples[i]);
        readings.push_back({2.0 * std::abs(sum) / kWindow, std::arg(sum)});
    }
    return readings;
}

class MicrophoneTest : public testing::Test {
  protected:
    // Both fall on whole periods in a window of 20 ms. A frame that is lost or comes twice turns the first by
    // 7.5 degrees; a jump of whole milliseconds, which the first would not show, turns the second.
    static constexpr double kTone = 1000.0;
    static constexpr double kOtherTone = 1350.0;

    void SetUp() override {
        if (!server_.start()) GTEST_SKIP() << "PulseAudio is not installed";
        setenv("PULSE_SERVER", server_.address().c_str(), 1);
        setenv("HOME", server_.directory().c_str(), 1);
        setenv("XDG_RUNTIME_DIR", (server_.directory() / "run").c_str(), 1);
        audio_ = makeAudioSystem(clock_, {.source = "microphone"});
        audio_->session().observe(listener_.observer());
    }

    static void expectInOrder(const Listener::Heard& heard, BootTime now) {
        const auto& times = heard.times;
        for (std::size_t i = 1; i < times.size(); ++i) ASSERT_GE(times[i].second, times[i - 1].second);
        EXPECT_LE(times.back().second, now);
        EXPECT_GE(times.back().second, now - 1s);
    }

    void startEngine() {
        audio_->session().activate();
        engine_ = audio_->makeEngine();
        restart();
    }
    // As the recording service does after an interruption.
    void restart() {
        engine_->removeTap();
        engine_->stop();
        audio_->session().activate();
        engine_->installTap(19'200, engine_->inputFormat(), listener_.tap());
        engine_->start();
    }
    bool hearsAgain() {
        restart();
        return listener_.hears(9'600, kFirstFrames);
    }

    std::shared_ptr<Clock> clock_ = makeClock();
    SoundServer server_;
    Listener listener_;
    std::shared_ptr<AudioSystem> audio_;
    std::unique_ptr<AudioEngine> engine_;
};

TEST_F(MicrophoneTest, HearsWhatIsPlayedFrameForFrame) {
    startEngine();
    server_.play("room", {kTone, kOtherTone}, 10s);
    ASSERT_TRUE(listener_.hears(48'000, 5s));
    listener_.heard();
    ASSERT_TRUE(listener_.hears(3 * 48'000, 5s));
    const auto heard = listener_.heard();
    const auto& [frames, times] = heard;
    for (const double tone : {kTone, kOtherTone}) {
        const auto readings = follow(tone, frames);
        for (std::size_t i = 0; i < readings.size(); ++i) {
            ASSERT_NEAR(readings[i].amplitude, 0.25, 0.005) << "window " << i;
            ASSERT_NEAR(std::remainder(readings[i].phase - readings[0].phase, 2.0 * std::numbers::pi), 0.0,
                        0.03)
                << "window " << i << " of tone " << tone;
        }
    }
    // Capture times are as far apart as the frames between them are long, give or take the quarter of a
    // second by which the server corrects its idea of a new null sink.
    expectInOrder(heard, clock_->bootNow());
    const double apart = std::chrono::duration<double>(times.back().second - times.front().second).count();
    EXPECT_NEAR(apart, static_cast<double>(times.back().first - times.front().first) / kRate, 0.4);
}

TEST_F(MicrophoneTest, KeepsTimesInOrderWhenEstimatesOfLatencyLeap) {
    audio_ = makePulseAudioSystem(clock_, {.source = "microphone"}, VELMOR_LEAPING_LATENCY);
    startEngine();
    ASSERT_TRUE(listener_.hears(24'000, kFirstFrames));
    expectInOrder(listener_.heard(), clock_->bootNow());
}

TEST_F(MicrophoneTest, TellsOfASuspendedAMovedAndAnUnloadedSource) {
    startEngine();
    ASSERT_TRUE(listener_.hears(9'600, kFirstFrames));

    server_.control({"suspend-source", "microphone", "1"});
    EXPECT_TRUE(listener_.isTold<Began>(1s));
    EXPECT_FALSE(engine_->isRunning());
    engine_->pause();
    server_.control({"suspend-source", "microphone", "0"});
    EXPECT_TRUE(listener_.isTold<Ended>(1s));
    ASSERT_TRUE(hearsAgain());

    const std::string outputs = server_.control({"list", "short", "source-outputs"});
    const auto line = outputs.rfind('\n', outputs.find("float32le"));
    server_.control({"move-source-output", std::to_string(std::atoi(&outputs[line + 1])), "window"});
    const auto moved = listener_.isTold<Moved>(1s);
    ASSERT_TRUE(moved);
    EXPECT_EQ(std::get<Moved>(moved->event).reason, "moved to window");
    EXPECT_THAT(std::get<Moved>(moved->event).previousOutputs, testing::ElementsAre("microphone"));
    EXPECT_TRUE(listener_.hears(9'600, kFirstFrames)) << "from the other input";
    ASSERT_TRUE(hearsAgain());

    // Streams of a named source are not moved elsewhere, but ended, when the server has nothing to move them
    // to.
    server_.control({"unload-module", "module-remap-source"});
    server_.control({"unload-module", "module-null-sink"});
    EXPECT_TRUE(listener_.isTold<Began>(1s));
    EXPECT_FALSE(engine_->isRunning());
    server_.control({"load-module", "module-null-sink", "sink_name=room"});
    server_.control({"load-module", "module-remap-source", "source_name=microphone", "master=room.monitor"});
    EXPECT_TRUE(listener_.isTold<Ended>(5s));
    EXPECT_TRUE(hearsAgain());
}

TEST_F(MicrophoneTest, ComesBackWithItsServer) {
    startEngine();
    ASSERT_TRUE(listener_.hears(9'600, kFirstFrames));
    server_.kill();
    ASSERT_TRUE(listener_.isTold<Began>(1s));
    EXPECT_FALSE(engine_->isRunning());
    EXPECT_THROW(audio_->session().activate(), PlatformError);
    std::this_thread::sleep_for(3s);  // of attempts that come to nothing, and farther and farther apart
    EXPECT_FALSE(listener_.isTold<Reset>(0ms));

    ASSERT_TRUE(server_.start());
    ASSERT_TRUE(listener_.isTold<Reset>(5s));
    engine_.reset();
    engine_ = audio_->makeEngine();
    EXPECT_TRUE(hearsAgain());
    EXPECT_EQ(server_.recorders(), 1U);
}

TEST_F(MicrophoneTest, LetsTheDeviceGoAtOnceOnAnyThread) {
    const auto gone = [&] {
        for (int attempt = 0; attempt < 10; ++attempt)
            if (server_.recorders() == 0) return true;
        return false;
    };
    startEngine();
    ASSERT_TRUE(listener_.hears(9'600, kFirstFrames));
    std::thread([&] {
        engine_.reset();
        listener_.close();
    }).join();
    EXPECT_TRUE(gone());
    EXPECT_EQ(listener_.late(), 0U);
    EXPECT_EQ(server_.connections(), 1U) << "kept for whoever starts again soon";
    const auto closed = [&] {
        for (const auto end = clock_->bootNow() + 8s; clock_->bootNow() < end;) {
            if (server_.connections() == 0) return true;
            std::this_thread::sleep_for(200ms);
        }
        return false;
    };
    EXPECT_TRUE(closed());

    // In a notification, together with the system that tells it, while the source has more to give.
    Listener second;
    audio_->session().activate();
    engine_ = audio_->makeEngine();
    engine_->installTap(19'200, engine_->inputFormat(), second.tap());
    engine_->start();
    ASSERT_TRUE(second.hears(9'600, kFirstFrames));
    std::promise<void> released;
    audio_->session().observe([&](const AudioNotification&) {
        engine_.reset();
        second.close();
        audio_.reset();
        released.set_value();
    });
    server_.control({"suspend-source", "microphone", "1"});
    ASSERT_EQ(released.get_future().wait_for(2s), std::future_status::ready);
    EXPECT_TRUE(gone());
    EXPECT_EQ(server_.connections(), 0U);
    EXPECT_EQ(second.late(), 0U);
    EXPECT_EQ(engine_, nullptr);
}

// What cannot be had is told at once, by whom it concerns.
TEST_F(MicrophoneTest, SaysWhatIsMissing) {
    struct Row {
        const char* name;
        std::string server;
        const char* source;
        const char* library;
        bool granted;
        const char* activation;  // what it says, empty when it works
        const char* start;
    };
    const std::string loopback = "tcp:127.0.0.1:" + std::to_string(server_.port());
    const std::vector<Row> rows{
        {"no library", server_.address(), "", "libno-such-pulse.so.0", true, "libno-such-pulse.so.0", ""},
        {"no server", "unix:/nonexistent", "", PulseApi::kLibrary, true, "Connection refused", ""},
        {"not this user", loopback, "", PulseApi::kLibrary, false, "Access denied", ""},
        {"no such input", server_.address(), "attic", PulseApi::kLibrary, true, "", "\"attic\""},
        {"all there", server_.address(), "", PulseApi::kLibrary, true, "", ""},
    };
    const auto failure = [](const auto& operation) -> std::string {
        try {
            operation();
        } catch (const PlatformError& error) {
            EXPECT_EQ(error.kind(), PlatformError::Kind::audioUnavailable);
            return error.what();
        }
        return "";
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        setenv("PULSE_SERVER", row.server.c_str(), 1);
        const auto began = clock_->bootNow();
        const auto audio = makePulseAudioSystem(clock_, {.source = row.source}, row.library);
        EXPECT_EQ(audio->session().recordPermission(), RecordPermission::undetermined);
        std::promise<bool> answered;
        audio->session().requestRecordPermission([&](bool granted) { answered.set_value(granted); });
        EXPECT_EQ(answered.get_future().get(), row.granted);
        EXPECT_EQ(audio->session().recordPermission() == RecordPermission::granted, *row.activation == '\0');
        const auto engine = audio->makeEngine();
        const auto activation = failure([&] { audio->session().activate(); });
        EXPECT_EQ(activation.empty(), *row.activation == '\0') << activation;
        EXPECT_THAT(activation, testing::HasSubstr(row.activation));
        const auto start = failure([&] { engine->start(); });
        EXPECT_EQ(start.empty(), activation.empty() && *row.start == '\0') << start;
        EXPECT_THAT(start, testing::HasSubstr(row.start));
        EXPECT_EQ(engine->isRunning(), start.empty());
        EXPECT_LT(clock_->bootNow() - began, 1s);
    }
}

}  // namespace
}  // namespace Velmor::Tests
