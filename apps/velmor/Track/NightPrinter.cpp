#include "Track/NightPrinter.hpp"

#include "Json.hpp"
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

void NightPrinter::event(const std::string& json) {
    std::printf("%s\n", json.c_str());
    std::fflush(stdout);
}

void NightPrinter::userDidJoin(const std::string& userId) {
    if (json_) event(JsonObject().text("event", "userDidJoin").text("userId", userId).str());
}

void NightPrinter::didCreate(const std::string& sessionId) {
    if (json_)
        event(JsonObject().text("event", "didCreate").text("sessionId", sessionId).str());
    else
        screen_.remark("Session " + sessionId + " is open.");
}

void NightPrinter::didUpload(std::int64_t sequence) {
    if (json_) event(JsonObject().text("event", "didUpload").number("sequence", sequence).str());
}

void NightPrinter::didClose(const std::string& sessionId) {
    if (json_) event(JsonObject().text("event", "didClose").text("sessionId", sessionId).str());
}

void NightPrinter::didFail(const Problem& problem) {
    if (json_) event(JsonObject().text("event", "didFail").text("error", problem.text).str());
    screen_.error(problem.text + (problem.advice.empty() ? "" : "\n        " + problem.advice));
}

void NightPrinter::didInterrupt(std::chrono::nanoseconds at) {
    if (json_)
        event(JsonObject().text("event", "didInterrupt").str());
    else
        screen_.remark("Interrupted after " + durationText(at) + ".");
}

void NightPrinter::didResume(std::chrono::nanoseconds at) {
    if (json_)
        event(JsonObject().text("event", "didResume").str());
    else
        screen_.remark("Resumed after " + durationText(at) + ".");
}

void NightPrinter::micPermissionWasDenied() {
    if (json_) event(JsonObject().text("event", "micPermissionWasDenied").str());
    screen_.error(
        "the microphone may not be used\n        Allow this program to record, or try --input or "
        "--synthetic.");
}

void NightPrinter::analysing(const Velmor::Model::Session& session) {
    if (json_) event(JsonObject().text("event", "analysing").raw("session", recordJson(session)).str());
}

void NightPrinter::failure(const std::string& text) {
    screen_.error(text);
}

void NightPrinter::trackingEnded(const Velmor::TrackingOutcome& outcome) {
    if (!json_) return;
    JsonObject object;
    object.text("event", "trackingEnded").text("outcome", nameOf(outcome.kind));
    if (outcome.sessionId) object.text("sessionId", *outcome.sessionId);
    if (outcome.error) object.text("error", outcome.error->description());
    event(object.str());
}

}  // namespace VelmorApp
