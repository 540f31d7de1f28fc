// A recording among doubles. What is recorded comes out as text: of each chunk its number and its runs of
// sound (+) and digital silence (-) in frames of 16 kHz, so "3: +160000 -320000" is 10 s of sound and 20 of
// silence.
#pragma once

#include "../APIService/Scene.hpp"
#include "Recorder/FileChunkStore.hpp"
#include "Recorder/MicrophoneRecorder.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <Velmor/Platform.hpp>
#include <Velmor/Testing.hpp>

namespace Velmor {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using State = RecordingService::State;

/// A tone without end, never exactly zero; or what `value` says.
class Tone : public Testing::AudioSource {
  public:
    std::size_t read(std::uint64_t first, std::span<float> out) override {
        for (float& frame : out) frame = value(first++);
        return out.size();
    }

    std::function<float(std::uint64_t frame)> value = [](std::uint64_t frame) {
        return 0.25F + 0.01F * static_cast<float>(frame % 7);
    };
};

inline std::string runs(std::span<const float> frames) {
    std::string text;
    for (std::size_t from = 0; from < frames.size();) {
        const bool silent = frames[from] == 0.0F;
        auto to = from;
        while (to < frames.size() && (frames[to] == 0.0F) == silent) ++to;
        text += (silent ? " -" : " +") + std::to_string(to - from);
        from = to;
    }
    return text;
}

class RecorderScene : public Scene, public VelmorRecordingDelegate {
  protected:
    /// `ownAudioThread`: the microphone runs on an executor of its own, so that the main loop may stand
    /// still.
    explicit RecorderScene(bool ownAudioThread = false)
        : audio(ownAudioThread ? std::make_shared<Testing::ManualExecutor>(clock) : loop) {
        platform->audio = microphone;
        device->setTimeZone("UTC", 0h);
        open();
    }

    /// A recorder in its first state.
    void open() {
        recorder = MicrophoneRecorder::make(platform, log, self,
                                            {[this](const std::string& path) { return convert(path); }});
        service = recorder->recordingService().get();
    }

    /// Whatever a scene plays, the microphone is asked for nothing else, and for nothing that it refuses.
    void TearDown() override {
        EXPECT_THAT(calls(), testing::Each(testing::AnyOf(kConfigure, "activate", "make engine",
                                                          "attach mixer 0", kTap, "start", "pause",
                                                          "remove tap", "detach mixer", "stop", "release")));
        EXPECT_THAT(microphone->refusals(), testing::IsEmpty());
    }

    void close() {
        service = nullptr;
        recorder.reset();
    }

    std::string convert(const std::string& path) {
        FileChunkStore store(platform);
        const auto chunk = store.openChunk(path);
        std::vector<float> frames(static_cast<std::size_t>(chunk->length()));
        frames.resize(chunk->read(frames));
        const auto text = runs(frames);
        auto mel = store.temporaryDirectory() + "result-" + store.mediumTime() + ".mel";
        store.write(mel, std::as_bytes(std::span(text)));
        return mel;
    }

    /// Moves time for everybody.
    void pass(nanoseconds time) {
        if (audio == loop) return loop->advance(time);
        for (const auto end = clock->bootNow() + time; clock->bootNow() < end; loop->runUntilIdle())
            audio->advance(std::min<nanoseconds>(end - clock->bootNow(), 400ms));
    }

    void settle() {
        while (audio->runUntilIdle() + loop->runUntilIdle() > 0) {
        }
    }

    void start() {
        recorder->start({});
        settle();
    }

    std::string state() const { return service->state().description(); }

    /// What has been heard since the last call.
    std::vector<std::string> heard() { return std::exchange(events, {}); }
    /// What the microphone has been asked since the last call.
    std::vector<std::string> calls() { return microphone->takeCalls(); }
    std::vector<std::string> printed() { return std::exchange(debugLines, {}); }
    std::vector<std::string> temporaryFiles() const {
        std::vector<std::string> found;
        for (const auto& path : files->paths())
            if (path.starts_with("/tmp/velmor/")) found.push_back(path.substr(12));
        return found;
    }

    void recordedData(std::string data, std::int64_t sequence) override {
        events.push_back(std::to_string(sequence) + ":" + data);
    }
    void didFail(const VelmorError& error) override { events.push_back("fail " + error.description()); }
    void didInterrupt() override {
        events.emplace_back("interrupt");
        if (onInterrupt) onInterrupt();
    }
    void didResume() override {
        events.emplace_back("resume");
        if (onResume) onResume();
    }
    void micPermissionWasDenied() override { events.emplace_back("denied"); }

    static constexpr const char* kConfigure = "configure 48000 mixing speaker built-in";
    static constexpr const char* kTap = "install tap 19200 48000x1";

    std::function<void()> onInterrupt, onResume;
    std::shared_ptr<Testing::ManualExecutor> loop = executor;
    std::shared_ptr<Testing::ManualExecutor> audio;
    std::shared_ptr<Tone> tone = std::make_shared<Tone>();
    std::shared_ptr<Testing::VirtualMicrophone> microphone =
        std::make_shared<Testing::VirtualMicrophone>(audio, clock, tone);
    std::shared_ptr<VelmorRecordingDelegate> self{this, [](auto*) {}};
    std::shared_ptr<MicrophoneRecorder> recorder;
    RecordingService* service = nullptr;
    std::vector<std::string> events;
};

}  // namespace Velmor
