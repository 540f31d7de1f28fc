#include "Screen.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>

namespace VelmorApp {
namespace {

constexpr std::chrono::milliseconds kRedraw{100};
constexpr std::size_t kBarWidth = 24;
constexpr const char* kClear = "\r\x1b[K";

std::string bar(double share) {
    const double cells = std::clamp(share, 0.0, 1.0) * static_cast<double>(kBarWidth);
    const auto full = static_cast<std::size_t>(cells);
    std::string text = "[";
    for (std::size_t i = 0; i < kBarWidth; ++i)
        text += i < full ? "#" : (i == full && share > 0.0 ? ">" : ".");
    return text + "]";
}

}  // namespace

bool coloursOn(int descriptor) {
    const char* off = std::getenv("NO_COLOR");
    return isatty(descriptor) == 1 && (off == nullptr || *off == '\0');
}

Screen::Screen(bool quiet)
    : quiet_(quiet), progress_(!quiet && isatty(STDERR_FILENO) == 1), colour_(coloursOn(STDERR_FILENO)) {}

Screen::~Screen() {
    clearProgress();
}

void Screen::remark(std::string_view line) {
    if (!quiet_) this->line(line);
}

void Screen::error(std::string_view line) {
    this->line(bold("velmor:") + " " + std::string(line));
}

void Screen::line(std::string_view text) {
    const Velmor::Lock lock(mutex_);
    print((shown_.empty() ? "" : kClear) + std::string(text) + "\n" + shown_);
}

void Screen::progress(double share, std::string_view text) {
    if (!progress_) return;
    const auto now = std::chrono::steady_clock::now();
    const Velmor::Lock lock(mutex_);
    if (!shown_.empty() && now - drawn_ < kRedraw) return;
    drawn_ = now;
    shown_ = (bar(share) + " " + std::string(text)).substr(0, width() - 1);
    print(kClear + shown_);
}

void Screen::clearProgress() {
    const Velmor::Lock lock(mutex_);
    if (shown_.empty()) return;
    shown_.clear();
    print(kClear);
}

void Screen::print(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
}

std::string Screen::bold(std::string_view text) const {
    return colour_ ? "\x1b[1m" + std::string(text) + "\x1b[0m" : std::string(text);
}

std::size_t Screen::width() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 20) return 80;
    return size.ws_col;
}

}  // namespace VelmorApp
