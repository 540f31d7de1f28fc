// What a night leaves in the log, and what is told meanwhile, line by line.
#include "../Library/Night.hpp"

#include <sstream>

namespace Velmor {
namespace {

constexpr const char* kReport =
    R"({"result":{"timezone":"UTC","peculiarities":[],"missing_data_ratio":0,"session":{"id":"s1",)"
    R"("state":"CLOSED","start_time":"2024-03-05T23:10:04Z","created_timezone":"UTC"}}})";

/// The host's calls and the debug lines, in one list.
class TranscriptTest : public NightTest, public VelmorDebugLoggerDelegate {
  protected:
    TranscriptTest() {
        setDebugLoggerDelegate(std::shared_ptr<VelmorDebugLoggerDelegate>(this, [](auto*) {}));
    }
    ~TranscriptTest() override { setDebugLoggerDelegate(nullptr); }

    void didPrint(const std::string& message) override {
        constexpr std::string_view kMark = " [Velmor SDK] ";
        lines.push_back("| " + message.substr(message.find(kMark) + kMark.size()));
    }

    std::string told() const {
        std::string all;
        for (const auto& line : lines) all += line + "\n";
        return all;
    }

    /// Lines of the log without their time, shipped ones first.
    std::string wholeLog() const {
        std::string all;
        for (const auto& request : http->requests())
            if (placeOf(request).ends_with("/logs")) all += messageOf(request.body);
        return withoutTimes(all + logText());
    }

    static std::string messageOf(const std::string& body) {
        const std::string lead = R"("message":")";
        const auto from = body.find(lead) + lead.size();
        auto text = body.substr(from, body.find(R"(","service")") - from);
        for (std::size_t at = 0; (at = text.find("\\n", at)) != std::string::npos;) text.replace(at, 2, "\n");
        return text;
    }

    static std::string withoutTimes(const std::string& text) {
        std::istringstream in(text);
        std::string out;
        for (std::string line; std::getline(in, line);) out += line.substr(line.find(" | ") + 3) + "\n";
        return out;
    }
};

TEST_F(TranscriptTest, OfANightAsItShouldBe) {
    lines.clear();
    initVelmorConfig("key", "u1", Url::parse(kBaseUrl), Url::parse("https://me.test/done"), {}, host);
    executor->runUntilIdle();
    manager = createSleepTrackingManager(*host->joined, host);
    manager->startTracking();
    executor->advance(seconds(31));
    manager->getTrackingStatus();
    manager->startTracking();
    executor->runUntilIdle();
    manager->stopTracking();
    executor->runUntilIdle();
    manager->getTrackingStatus();
    manager->stopTracking();
    manager->requestAnalysis();
    executor->runUntilIdle();

    answerWith = [](const std::string&) { return HttpResponse{200, {}, kReport}; };
    manager->requestAnalysis();
    executor->runUntilIdle();

    EXPECT_EQ(told(), R"(| Recorder: reset audio engine
| API: user join, id: u1
userDidJoin u1
| Recorder: check record permission
| Recorder: granted record permission
| Recorder: request start
| Recorder: state ready
| Recorder: state started
| Tracking: request start
| API: session - create
| Session created: sessionId = s1
didCreate
| Tracking: request upload data, sequence = 0
| API: session id is s1 - upload, sequence is 0
| Session uploaded: sessionId = s1, sequence = 0
didUpload 0
| Tracking: sessionId = s1
| Tracking: already started
| Recorder: request stop
| Recorder: state stopped
| remove file - file:///tmp/velmor/chunk-14:22:13:20_1.pcm
| remove file - file:///tmp/velmor/chunk-14:22:13:50.pcm
| Tracking: request stop
| API: session id is s1 - close
| Session closed: sessionId = s1
didClose s1
ended: closed s1
| Tracking: sessionId = null
| Recorder: request stop
| Recorder: stop request can not working
| Tracking: already stopped
| Tracking: request analysis
| API: sessions analysis - id: s1
| httpStatus(404, not analysed yet)
didFail httpStatus(404, not analysed yet)
| Tracking: request analysis
| API: sessions analysis - id: s1
| Session Tracking Analysis
analysing s1
)");
    EXPECT_EQ(wholeLog(), R"(I | init | [CALL] initVelmorConfig u1 http://localhost/base https://me.test/done
I | init | [RESP] userId u1
I | tracking | [CALL] createSleepTrackingManager
I | tracking | [CALL] startTracking
I | recording | [ST] ready
I | recording | [ST] started
I | tracking | [RESP] sessionId s1
I | tracking | [CALL] startTracking
I | tracking | [CALL] stopTracking
I | Upload | 0 1
I | recording | [ST] stopped
I | tracking | [RESP] closed s1
I | tracking | [CALL] stopTracking
I | tracking | [CALL] requestAnalysis
E | tracking | httpStatus(404, not analysed yet)
I | tracking | [CALL] requestAnalysis
)");
}

TEST_F(TranscriptTest, OfANightWithInterruptions) {
    makeManager();
    manager->startTracking();
    executor->advance(seconds(10));
    lines.clear();
    microphone->beginInterruption();
    executor->advance(seconds(5));
    microphone->endInterruption();
    executor->advance(seconds(5));
    microphone->changeInputFormat({48'000.0, 1});
    executor->advance(seconds(1));
    manager->resumeTracking();
    executor->advance(seconds(1));
    microphone->changeRoute("new device", {"Speaker", "Headphones"});
    microphone->failStarting(PlatformError(PlatformError::Kind::audioUnavailable, "unplugged"));
    microphone->resetMediaServices();
    executor->runUntilIdle();

    EXPECT_EQ(told(), R"(| Recorder: state interrupted
didInterrupt
| Recorder: state resumed
didResume
| Recorder: request resume
| Recorder: state resumed
didResume
| Recorder: state interrupted
didInterrupt
| Recorder: state resumed
didResume
| Recorder: request stop
| Recorder: state stopped
| remove file - file:///tmp/velmor/chunk-14:22:13:20_0.pcm
| remove file - file:///tmp/velmor/chunk-14:22:13:20_1.pcm
| Tracking: request stop
didFail audioInitializationFailed
| API: session id is s1 - close
| Session closed: sessionId = s1
didClose s1
ended: closed s1, audioInitializationFailed
)");
    EXPECT_EQ(wholeLog(), R"(I | init | [CALL] initVelmorConfig u1 http://localhost/base -
I | init | [RESP] userId u1
I | tracking | [CALL] createSleepTrackingManager
I | tracking | [CALL] startTracking
I | recording | [ST] ready
I | recording | [ST] started
I | tracking | [RESP] sessionId s1
I | notifications | [AVAudioSession.interruptionNotification] began
I | recording | [ST] interrupted
I | notifications | [AVAudioSession.interruptionNotification] ended
I | recording | [ST] resumed
I | notifications | [AVAudioEngineConfigurationChange] input format changed
I | tracking | [CALL] resumeTracking
I | recording | [ST] resumed
I | notifications | [route change] new device, previous output Speaker, previous output Headphones
I | notifications | [media services reset] media services were reset
I | recording | [ST] interrupted
I | recording | [ST] resumed
E | recording | startEngine ERROR: unplugged
I | recording | [ST] stopped
E | tracking | audioInitializationFailed
I | tracking | [RESP] closed s1
)");
}

}  // namespace
}  // namespace Velmor
