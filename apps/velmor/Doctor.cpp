#include "Commands.hpp"
#include "Json.hpp"
#include "Problem.hpp"
#include "Service/Peer.hpp"
#include "Sound/LiveMicrophone.hpp"

#include <cstdio>
#include <cstring>
#include <future>
#include <memory>
#include <sys/statvfs.h>
#include <unistd.h>

#include <Velmor/Velmor.hpp>

namespace VelmorApp {
namespace {

using namespace std::chrono_literals;

constexpr auto kListening = 4s;            // some inputs take two seconds to wake
constexpr std::uint64_t kEnough = 24'000;  // frames
constexpr double kNeededMegabytes =
    100.0;  // log, service data and chunk files of a night take about a quarter of it

struct Finding {
    std::string part;
    ExitCode code = ExitCode::done;
    std::string text;
    std::string advice;
};

// Hears whether a recording fails within its first moments.
class Listener : public Velmor::VelmorRecordingDelegate {
  public:
    void didFail(const Velmor::VelmorError& error) override { tell(error.description()); }
    void micPermissionWasDenied() override { tell("this program may not record"); }

    /// What went wrong, empty when the microphone was heard.
    std::string wait(const LiveMicrophone& microphone) {
        auto failure = failure_.get_future();
        const auto deadline = std::chrono::steady_clock::now() + kListening;
        while (microphone.frames() < kEnough) {
            if (failure.wait_for(50ms) == std::future_status::ready) return failure.get();
            if (std::chrono::steady_clock::now() > deadline) return "it delivers nothing";
        }
        return {};
    }

  private:
    void tell(const std::string& text) {
        if (!told_.exchange(true)) failure_.set_value(text);
    }

    std::promise<std::string> failure_;
    std::atomic<bool> told_{false};
};

Finding checkMicrophone(const LiveMicrophone& microphone) {
    const auto listener = std::make_shared<Listener>();
    const auto recorder = Velmor::createRecorder(listener);
    recorder->startRecording();
    std::string failure = listener->wait(microphone);
    if (const auto why = microphone.failure(); !why.empty()) failure = why;
    recorder->stopRecording();
    if (failure.empty())
        return {"microphone", ExitCode::done, "records at 48 kHz, " + levelText(microphone),
                microphone.level() ? "" : "check that the right input is the default, and not muted"};
    return {
        "microphone", ExitCode::audio, failure,
        "start a sound server (PulseAudio or PipeWire) with an input, or track with --input or --synthetic"};
}

Finding checkService(const SharedOptions& shared, Screen& screen) {
    if (!shared.baseUrl) {
        const Peer peer(shared, screen);
        return {"service", ExitCode::done, "a local service can run, data in " + peer.directory(), ""};
    }
    const auto answer = std::make_shared<std::promise<Velmor::HttpResult>>();
    auto future = answer->get_future();
    const auto transport = Velmor::makeHttpTransport({.allowClearText = false, .caFile = shared.caFile});
    const auto exchange =
        transport->send({.method = "GET", .url = *shared.baseUrl, .headers = {}, .body = {}},
                        [answer](Velmor::HttpResult result) { answer->set_value(std::move(result)); });
    const Velmor::HttpResult result = future.get();
    const std::string url = shared.baseUrl->absoluteString();
    if (const auto* error = std::get_if<Velmor::PlatformError>(&result)) {
        const Problem problem = problemOf(Velmor::VelmorError::unknown{std::make_exception_ptr(*error)}, url);
        return {"service", problem.code, error->what(), problem.advice};
    }
    return {"service", ExitCode::done, url + " answers", ""};
}

Finding checkTimeZone() {
    const std::string zone = Velmor::makeDevice()->timeZone();
    const std::string path = "/usr/share/zoneinfo/" + zone;
    if (access(path.c_str(), R_OK) == 0) return {"time zone", ExitCode::done, zone, ""};
    return {"time zone", ExitCode::failed, "\"" + zone + "\" is not known here",
            "set TZ or /etc/localtime, and install tzdata"};
}

Finding checkFolder(const std::string& part, Velmor::FileSystem& files, const std::string& folder) {
    const std::string probe = folder + "velmor-doctor";
    const std::string text = "velmor";
    try {
        files.replace(probe, std::as_bytes(std::span(text)));
        files.remove(probe);
    } catch (const Velmor::PlatformError& error) {
        return {part, ExitCode::failed, folder + ": " + error.what(),
                "choose another place with --data-dir or TMPDIR"};
    }
    return {part, ExitCode::done, folder + " can be written", ""};
}

Finding checkSpace(const std::string& folder) {
    struct statvfs facts {};
    if (statvfs(folder.c_str(), &facts) != 0)
        return {"disk", ExitCode::failed, folder + ": " + std::strerror(errno),
                "choose another place with --data-dir"};
    const double free = static_cast<double>(facts.f_bavail) * static_cast<double>(facts.f_frsize) / 1e6;
    const std::string text = std::to_string(static_cast<std::int64_t>(free)) + " MB free at " + folder;
    if (free >= kNeededMegabytes) return {"disk", ExitCode::done, text, ""};
    return {"disk", ExitCode::failed, text, "make room: a night needs up to 100 MB"};
}

void checkFolders(std::vector<Finding>& findings, const SharedOptions& shared) {
    const auto files = Velmor::makeFileSystem({.documentsDirectory = shared.dataDir, .temporaryRoot = {}});
    const auto look = [&](const std::string& part, std::string (Velmor::FileSystem::*place)()) {
        try {
            const std::string folder = ((*files).*place)();
            findings.push_back(checkFolder(part, *files, folder));
            findings.push_back(checkSpace(folder));
        } catch (const Velmor::PlatformError& error) {
            findings.push_back(
                {part, ExitCode::failed, error.what(), "choose another place with --data-dir or TMPDIR"});
        }
    };
    look("data folder", &Velmor::FileSystem::documentsDirectory);
    look("temporary", &Velmor::FileSystem::temporaryDirectory);
}

void print(const Finding& finding, bool json) {
    const bool good = finding.code == ExitCode::done;
    if (json)
        printJson(
            {{"check", finding.part}, {"ok", good}, {"text", finding.text}, {"advice", finding.advice}});
    else
        std::printf("%-4s %-12s %s%s%s\n", good ? "ok" : "BAD", finding.part.c_str(), finding.text.c_str(),
                    finding.advice.empty() ? "" : "; ", finding.advice.c_str());
}

}  // namespace

ExitCode doctor(const SharedOptions& shared, const DoctorOptions& /*options*/, Screen& screen) {
    Velmor::Platform platform;
    platform.console = [](std::string_view) {};
    const auto microphone = std::make_shared<LiveMicrophone>(Velmor::makeAudioSystem(Velmor::makeClock()));
    platform.audio = microphone;
    platform.files = Velmor::makeFileSystem({.documentsDirectory = shared.dataDir, .temporaryRoot = {}});
    Velmor::setPlatform(std::move(platform));
    std::vector<Finding> findings;
    findings.push_back(checkMicrophone(*microphone));
    findings.push_back(checkService(shared, screen));
    findings.push_back(checkTimeZone());
    checkFolders(findings, shared);
    ExitCode code = ExitCode::done;
    for (const Finding& finding : findings) {
        print(finding, shared.json);
        if (code == ExitCode::done) code = finding.code;
    }
    Velmor::setPlatform({});
    return code;
}

}  // namespace VelmorApp
