// What a night says while it runs: one JSON object for each delegate call, or remarks for a person.
#pragma once

#include "Json.hpp"
#include "Problem.hpp"
#include "Screen.hpp"

#include <cstdint>
#include <string>

#include <Velmor/Model.hpp>
#include <Velmor/SleepTrackingManager.hpp>

namespace VelmorApp {

/// Any thread, one call at a time.
class NightPrinter {
  public:
    NightPrinter(bool json, Screen& screen) : json_(json), screen_(screen) {}

    void userDidJoin(const std::string& userId);
    void didCreate(const std::string& sessionId);
    void didUpload(std::int64_t sequence);
    void didClose(const std::string& sessionId);
    void didFail(const Problem& problem);
    void didInterrupt(std::chrono::nanoseconds at);
    void didResume(std::chrono::nanoseconds at);
    void micPermissionWasDenied();
    void analysing(const Velmor::Model::Session& session);
    void trackingEnded(const Velmor::TrackingOutcome& outcome);
    /// Something that no delegate call told.
    void failure(const std::string& text);

  private:
    void event(const Json& json);

    const bool json_;
    Screen& screen_;
};

}  // namespace VelmorApp
