// What the night's host implements: it hears, notes, and does what a fault has armed it for.
#pragma once

#include "Night.hpp"

#include <stdexcept>
#include <string>

namespace Velmor::Nights {

inline constexpr const char* kKey = "K3y-Of-Simulated-Nights";
inline constexpr const char* kDebugCall = "debug: didPrint";

class Night::Host : public VelmorSleepTrackingManagerDelegate {
  public:
    Host(Night& night, std::string owner) : night_(night), owner_(std::move(owner)) {}

    void didCreate() override { night_.heard("didCreate"); }
    void didUpload(std::int64_t sequence) override {
        night_.ledger.heardUpload(owner_, sequence);
        night_.troubled_ = 0;
        night_.heard("didUpload");
    }
    void didClose(const std::string&) override { night_.heard("didClose"); }
    void didFail(const VelmorError& error) override {
        night_.ledger.heardFailure(owner_, error.description());
        night_.ledger.note(error.description());
        if (error.is<VelmorError::over24hours>()) return night_.heard("didFail");  // a night's natural end
        trouble("didFail");
    }
    void didInterrupt() override { trouble("didInterrupt"); }
    void didResume() override {
        night_.troubled_ = 0;
        night_.heard("didResume");
    }
    void micPermissionWasDenied() override { night_.heard("micPermissionWasDenied"); }
    void analysing(const Model::Session&) override { night_.heard("analysing"); }
    void trackingEnded(const TrackingOutcome&) override {
        night_.ledger.heardEnd(owner_);
        night_.heard("trackingEnded");
    }

  private:
    void trouble(const char* what) {
        night_.troubled_ = std::max(night_.troubled_, 1);
        night_.heard(what);
    }

    Night& night_;
    const std::string owner_;
};

class Night::Joined : public VelmorConfigDelegate {
  public:
    explicit Joined(Night& night) : night_(night) {}
    void userDidJoin(const std::string&, const Config&) override { night_.heard("userDidJoin"); }
    void didFailUserJoin(const VelmorError&) override { night_.heard("didFailUserJoin"); }
    void userDidDelete(const std::string&) override { night_.heard("userDidDelete"); }

  private:
    Night& night_;
};

/// Takes the chunks of a recording without a session.
class Night::Chunks : public VelmorRecordingDelegate {
  public:
    explicit Chunks(Night& night) : night_(night) {}
    void recordedData(std::string, std::int64_t) override {
        night_.ledger.takenElsewhere();
        night_.heard("recorder: recordedData");
    }
    void didFail(const VelmorError&) override { night_.heard("recorder: didFail"); }
    void didInterrupt() override { night_.heard("recorder: didInterrupt"); }
    void didResume() override { night_.heard("recorder: didResume"); }
    void micPermissionWasDenied() override { night_.heard("recorder: micPermissionWasDenied"); }

  private:
    Night& night_;
};

class Night::DebugLines : public VelmorDebugLoggerDelegate {
  public:
    explicit DebugLines(Night& night) : night_(night) {}
    void didPrint(const std::string& message) override {
        static constexpr std::string_view kMark = " [Velmor SDK] ";
        const auto at = message.find(kMark);
        if (at == std::string::npos) return night_.ledger.broken("a debug line without its mark: " + message);
        const auto line = message.substr(at + kMark.size());
        night_.ledger.debugLine(line);
        if (std::exchange(night_.debugThrows_, false)) throw std::runtime_error("simulated");
        if (line.starts_with("Session created") && night_.armed_ && night_.armed_->call == kDebugCall)
            night_.heard(std::string(kDebugCall));
    }

  private:
    Night& night_;
};

}  // namespace Velmor::Nights
