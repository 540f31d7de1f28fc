// Standard error: remarks, and a progress bar where a person watches.
#pragma once

#include "Runtime/ThreadSafety.hpp"

#include <chrono>
#include <string>
#include <string_view>

namespace VelmorApp {

/// Any thread.
class Screen {
  public:
    /// Quiet: errors only.
    explicit Screen(bool quiet);
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /// Something good to know.
    void remark(std::string_view line);
    /// What went wrong; also when quiet.
    void error(std::string_view line);
    /// A line that is shown whatever the settings, as it is.
    void line(std::string_view text);

    /// Shows the bar at `share` (0 to 1) with a text behind it, at most ten times a second.
    void progress(double share, std::string_view text);
    /// Whether there is somebody to draw a bar for.
    bool drawsProgress() const { return progress_; }
    void clearProgress();

  private:
    void print(std::string_view text);
    std::string bold(std::string_view text) const;
    static std::size_t width();

    const bool quiet_;
    const bool progress_;
    const bool colour_;
    Velmor::Mutex mutex_;                          // guards what follows, and keeps lines whole
    std::string shown_ VELMOR_GUARDED_BY(mutex_);  // bar on the screen
    std::chrono::steady_clock::time_point drawn_ VELMOR_GUARDED_BY(mutex_){};
};

/// Whether standard output or error may carry colours: a terminal, and NO_COLOR not set.
bool coloursOn(int descriptor);

}  // namespace VelmorApp
