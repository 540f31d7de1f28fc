#include "Commands.hpp"
#include "Service/Peer.hpp"
#include "Sound/Bedroom.hpp"
#include "Sound/FileSource.hpp"
#include "Track/Bedside.hpp"
#include "Track/Night.hpp"
#include "Track/Summary.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace VelmorApp {
namespace {

using RealTime = std::chrono::steady_clock;

// Passes debug lines on; the library keeps it for ever, so it must not keep the night.
class DebugLines : public Velmor::VelmorDebugLoggerDelegate {
  public:
    explicit DebugLines(std::weak_ptr<Night> night) : night_(std::move(night)) {}
    void didPrint(const std::string& message) override {
        if (const auto night = night_.lock()) night->didPrint(message);
    }

  private:
    const std::weak_ptr<Night> night_;
};

std::unique_ptr<SoundSource> makeSound(const TrackOptions& options) {
    switch (options.source) {
        case TrackOptions::Source::microphone:
            return nullptr;
        case TrackOptions::Source::file:
            return openRecording(options.input, kMicrophoneRate);
        case TrackOptions::Source::synthetic:
            break;
    }
    const auto frames = static_cast<std::uint64_t>(options.synthetic / std::chrono::microseconds{1}) *
                        kMicrophoneRate / 1'000'000;
    return makeBedroom(options.seed, frames);
}

class Progress {
  public:
    Progress(const Bedside& bedside, const Night& night, Screen& screen)
        : bedside_(bedside), night_(night), screen_(screen) {}

    void show() {
        if (!screen_.drawsProgress()) return;
        const auto now = RealTime::now();
        if (now - shown_ < std::chrono::milliseconds(100)) return;
        shown_ = now;
        const auto elapsed = bedside_.elapsed();
        const auto expected = bedside_.expected();
        const std::string text = durationText(std::chrono::floor<std::chrono::seconds>(elapsed)) +
                                 (expected ? " of " + durationText(*expected) : "") + ", " +
                                 std::to_string(night_.books().uploaded.size()) + " chunks uploaded, ";
        if (const auto* microphone = bedside_.live()) {
            screen_.progress(loudness(*microphone), text + levelText(*microphone));
            return;
        }
        const double took = std::chrono::duration<double>(now - began_).count();
        char speed[32];
        std::snprintf(speed, sizeof speed, "%.0fx",
                      std::chrono::duration<double>(elapsed).count() / std::max(took, 0.001));
        screen_.progress(expected ? std::chrono::duration<double>(elapsed) / *expected : 0.0, text + speed);
    }

  private:
    // The bar is a level meter then: from the noise of a good microphone up to full scale.
    static double loudness(const LiveMicrophone& microphone) {
        constexpr double kQuietest = -90.0;
        return std::clamp(1.0 - microphone.level().value_or(kQuietest) / kQuietest, 0.0, 1.0);
    }

    const Bedside& bedside_;
    const Night& night_;
    Screen& screen_;
    const RealTime::time_point began_ = RealTime::now();
    RealTime::time_point shown_{};
};

void print(const NightBooks& books, const NightTotals& totals, bool json) {
    if (json)
        std::printf("%s", summaryJson(books, totals).c_str());
    else
        std::printf("%s", summaryText(books, totals).c_str());
}

}  // namespace

ExitCode track(const SharedOptions& shared, const TrackOptions& options, Screen& screen) {
    auto sound = makeSound(options);  // before anything is opened: a bad recording must leave no trace
    const Peer peer(shared, screen);
    Bedside bedside(shared, options, std::move(sound), peer.logUrl());
    NightPrinter printer(shared.json, screen);
    std::weak_ptr<Night> started;
    const auto night = std::make_shared<Night>(shared, peer.url(), options.analysis, bedside.clock(), printer,
                                               [&] { bedside.arrangeEnd(started); });
    started = night;
    Velmor::DeveloperMode::setOn(shared.developerMode);
    Velmor::setPlatform(bedside.platform());
    Velmor::setDebugLoggerDelegate(std::make_shared<DebugLines>(night));
    const auto began = RealTime::now();
    Progress progress(bedside, *night, screen);
    night->begin();
    bedside.run(*night, [&] { progress.show(); });
    screen.clearProgress();

    NightTotals totals;
    totals.took = RealTime::now() - began;
    totals.audioSeconds = bedside.audioSeconds();
    totals.service = peer.url().absoluteString();
    totals.serviceDirectory = peer.directory();
    const std::string log = documentsDirectory(shared) + "VelmorSDK.log";
    if (std::filesystem::exists(log)) totals.log = log;
    NightBooks books = night->books();
    Velmor::setPlatform({});  // lets go of the night's microphone, clock and transport
    if (!books.missing().empty() && books.code == ExitCode::done) books.code = ExitCode::failed;
    if (const auto failure = bedside.soundFailure(); !failure.empty()) {
        screen.error(failure);
        if (books.code == ExitCode::done) books.code = ExitCode::failed;
    }
    print(books, totals, shared.json);
    return books.code;
}

}  // namespace VelmorApp
