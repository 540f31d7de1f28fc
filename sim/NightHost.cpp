// What the night's host does: on its own account, because a fault makes it, and inside a call of its
// delegates.
#include "Actions.hpp"
#include "Hosts.hpp"
#include "Night.hpp"

#include <array>
#include <stdexcept>

namespace Velmor::Nights {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

Config configOf(const std::string& userId) {
    return Config(kKey, userId, Url::parse("http://localhost/base"));
}

// The first ten in the order by which kept nights name them.
constexpr auto kActions = std::to_array<Action>({
    {"throws", [](Night&) { throw std::runtime_error("simulated"); }},
    {"throws what is no exception", [](Night&) { throw 7; }},
    {"stopTracking", [](Night& n) { n.stop(); }},
    {"startTracking", [](Night& n) { n.start(); }},
    {"resumeTracking", [](Night& n) { n.resume(); }},
    {"requestAnalysis", [](Night& n) { n.analyse(); }},
    {"getTrackingStatus", [](Night& n) { n.ask(); }},
    {"initVelmorConfig", [](Night& n) { n.configure(); }},
    {"createSleepTrackingManager", [](Night& n) { n.replaceManager(false); }},
    {"releases its delegate", [](Night& n) { n.releaseDelegate(); }},
    {"deleteUser", [](Night& n) { n.removeUser(); }},
    {"createReports", [](Night& n) { n.queryReport(); }},
    {"createRecorder", [](Night& n) { n.recordBeside(10s); }},
    {"setDebugLoggerDelegate", [](Night& n) { n.hearDebugLines(); }},
    {"setPlatform", [](Night& n) { n.replaceLibrary(); }},
    {"releases its manager", [](Night& n) { n.releaseManager(); }},
    {"releases both and throws",
     [](Night& n) {
         n.releaseDelegate();
         n.replaceManager(false);
         throw std::runtime_error("simulated");
     }},
    {"blocks for 10 s", [](Night& n) { n.block(10s); }},
});

constexpr std::array<const char*, 19> kCalls{"userDidJoin",
                                             "didFailUserJoin",
                                             "userDidDelete",
                                             "didCreate",
                                             "didUpload",
                                             "didClose",
                                             "didFail",
                                             "didInterrupt",
                                             "didResume",
                                             "micPermissionWasDenied",
                                             "analysing",
                                             "trackingEnded",
                                             "reports: completion",
                                             kDebugCall,
                                             "recorder: recordedData",
                                             "recorder: didFail",
                                             "recorder: didInterrupt",
                                             "recorder: didResume",
                                             "recorder: micPermissionWasDenied"};

}  // namespace

std::span<const Action> actions() {
    return kActions;
}

std::span<const char* const> delegateCalls() {
    return kCalls;
}

void Night::start() {
    ++starts_;
    if (!manager_) return;
    ledger.askedToStart(owner_);
    manager_->startTracking();
}

void Night::stop() {
    if (!manager_) return;
    manager_->stopTracking();
    later(100ms, [this, starts = starts_, from = clock->bootNow()] {
        const bool comparable = clock->bootNow() - from == 100ms && from >= stalledUntil_;
        if (starts == starts_ && comparable) checkMicrophoneGone("after a stop");
    });
}

void Night::resume() {
    if (manager_) manager_->resumeTracking();
}

void Night::analyse() {
    if (manager_) manager_->requestAnalysis();
}

void Night::ask() {
    if (manager_) manager_->getTrackingStatus();
}

void Night::queryReport() {
    createReports(configOf(kReader))->report("s1", [this](const auto& report, const auto& error) {
        if (report.has_value() == error.has_value()) ledger.broken("a query with two outcomes, or none");
        heard("reports: completion");
    });
}

void Night::configure() {
    ledger.abandoned(owner_);
    const auto url = Url::parse("http://localhost/base");
    initVelmorConfig(kKey, "joined", url, {}, {}, std::make_shared<Joined>(*this));
}

void Night::removeUser() {
    deleteUser(configOf("joined"));
}

void Night::hearDebugLines() {
    setDebugLoggerDelegate(std::make_shared<DebugLines>(*this));
}

void Night::replaceLibrary() {
    install();
    replaceManager(false);
}

void Night::replaceManager(bool keepFormer) {
    ledger.note("new manager");
    if (keepFormer && manager_) {
        ledger.twoManagers();
        former_.emplace_back(manager_, host_);
    } else {
        ledger.abandoned(owner_);
        ledger.recordingReleased();
    }
    owner_ = "u" + std::to_string(++managers_);
    formerHosts_.push_back(host_);  // it hears of what its nights have left to do, and may be calling
    host_ = std::make_shared<Host>(*this, owner_);
    manager_.reset();
    manager_ = createSleepTrackingManager(configOf(owner_), host_);
    troubled_ = 0;
}

void Night::releaseDelegate() {
    ledger.deafened(owner_);
    host_.reset();
}

void Night::recordBeside(milliseconds length) {
    ledger.twoManagers();
    ++recordersBeside_;
    beside_ = std::make_shared<Chunks>(*this);
    recorderBeside_ = createRecorder(beside_);
    recorderBeside_->startRecording();
    later(length, [recorder = recorderBeside_] { recorder->stopRecording(); });
}

void Night::heard(const std::string& what) {
    ledger.note("host: " + what);
    if (callsSinceAction_) ++*callsSinceAction_;
    if (!armed_ || (armed_->call != nullptr && what != armed_->call)) return;
    const auto& action = kActions.at(armed_->action);
    armed_.reset();
    callsSinceAction_ = 0;
    action.run(*this);
}

// What a sensible application does: a night without a session is started again unless it has had its 24
// hours, one in trouble is resumed, and when that does not help, stopped.
void Night::lookAfter() {
    ledger.checkProgress();
    if (!manager_ || !host_) replaceManager(false);
    if (!manager_->getTrackingStatus().sessionId) {
        if (!ledger.isOver()) start();
    } else if (troubled_ > 1) {
        stop();
    } else if (troubled_ == 1) {
        resume();
    }
    if (troubled_ > 0) ++troubled_;
    later(kGlance, [this] { lookAfter(); });
}

}  // namespace Velmor::Nights
