#include "Track/NightPrinter.hpp"

#include "Reports/RecordJson.hpp"
#include "Values.hpp"

#include <cstdio>

namespace VelmorApp {
namespace {

const char* nameOf(Velmor::TrackingOutcome::Kind kind) {
    using Kind = Velmor::TrackingOutcome::Kind;
    switch (kind) {
        case Kind::closed:
            return "closed";
        case Kind::notClosed:
            return "notClosed";
        case Kind::sessionGone:
            return "sessionGone";
        case Kind::notCreated:
            return "notCreated";
        case Kind::notRecording:
            return "notRecording";
        case Kind::permissionDenied:
            return "permissionDenied";
        case Kind::stopped:
            return "stopped";
        case Kind::abandoned:
            break;
    }
    return "abandoned";
}

}  // namespace

void NightPrinter::event(const Json& json) {
    printJson(json);
    std::fflush(stdout);
}

void NightPrinter::userDidJoin(const std::string& userId) {
    if (json_) event({{"event", "userDidJoin"}, {"userId", userId}});
}

void NightPrinter::didCreate(const std::string& sessionId) {
    if (json_)
        event({{"event", "didCreate"}, {"sessionId", sessionId}});
    else
        screen_.remark("Session " + sessionId + " is open.");
}

void NightPrinter::didUpload(std::int64_t sequence) {
    if (json_) event({{"event", "didUpload"}, {"sequence", sequence}});
}

void NightPrinter::didClose(const std::string& sessionId) {
    if (json_) event({{"event", "didClose"}, {"sessionId", sessionId}});
}

void NightPrinter::didFail(const Problem& problem) {
    if (json_) event({{"event", "didFail"}, {"error", problem.text}});
    screen_.error(problem.text + (problem.advice.empty() ? "" : "\n        " + problem.advice));
}

void NightPrinter::didInterrupt(std::chrono::nanoseconds at) {
    if (json_)
        event({{"event", "didInterrupt"}});
    else
        screen_.remark("Interrupted after " + durationText(at) + ".");
}

void NightPrinter::didResume(std::chrono::nanoseconds at) {
    if (json_)
        event({{"event", "didResume"}});
    else
        screen_.remark("Resumed after " + durationText(at) + ".");
}

void NightPrinter::micPermissionWasDenied() {
    if (json_) event({{"event", "micPermissionWasDenied"}});
    screen_.error(
        "the microphone may not be used\n        Allow this program to record, or try --input or "
        "--synthetic.");
}

void NightPrinter::analysing(const Velmor::Model::Session& session) {
    if (json_) event({{"event", "analysing"}, {"session", valueJson(session)}});
}

void NightPrinter::failure(const std::string& text) {
    screen_.error(text);
}

void NightPrinter::trackingEnded(const Velmor::TrackingOutcome& outcome) {
    if (!json_) return;
    Json ended{{"event", "trackingEnded"}, {"outcome", nameOf(outcome.kind)}};
    if (outcome.sessionId) ended["sessionId"] = *outcome.sessionId;
    if (outcome.error) ended["error"] = outcome.error->description();
    event(ended);
}

}  // namespace VelmorApp
