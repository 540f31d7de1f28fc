#include "Log/LogAPI.hpp"

#include "Runtime/Contain.hpp"
#include "Runtime/Text.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <span>
#include <utility>

namespace Velmor {
namespace {

constexpr std::array<std::pair<LogAPI::Level, std::string_view>, 5> kLevels{{{LogAPI::Level::I, "I"},
                                                                             {LogAPI::Level::W, "W"},
                                                                             {LogAPI::Level::E, "E"},
                                                                             {LogAPI::Level::D, "D"},
                                                                             {LogAPI::Level::WTF, "WTF"}}};

Mutex delegateMutex;

std::shared_ptr<VelmorDebugLoggerDelegate>& delegateSlot() VELMOR_REQUIRES(delegateMutex) {
    static auto* slot = new std::shared_ptr<VelmorDebugLoggerDelegate>;  // outlives every thread
    return *slot;
}

std::span<const std::byte> bytesOf(std::string_view text) {
    return std::as_bytes(std::span(text));
}

std::string readAll(File& file) {
    std::string text(static_cast<std::size_t>(file.size()), '\0');
    text.resize(file.read(std::as_writable_bytes(std::span(text))));
    return text;
}

bool endsWithLine(File& file, std::uint64_t size) {
    std::array<std::byte, 1> last{};
    file.seek(size - std::min<std::uint64_t>(size, 1));
    return file.read(last) == 0 || last[0] == std::byte{'\n'};
}

// A delegate may call whatever prints a line, but its own line is not to come back to it without end.
void tell(VelmorDebugLoggerDelegate& delegate, const std::string& line) {
    static thread_local bool telling = false;
    if (std::exchange(telling, true)) return;
    contain([&] { delegate.didPrint(line); });  // one that throws when told something cannot be told so
    telling = false;
}

}  // namespace

void setDebugLoggerDelegate(std::shared_ptr<VelmorDebugLoggerDelegate> delegate) {
    const Lock lock(delegateMutex);
    delegateSlot().swap(delegate);
}

std::shared_ptr<VelmorDebugLoggerDelegate> debugLoggerDelegate() {
    const Lock lock(delegateMutex);
    return delegateSlot();
}

LogAPI::LogAPI(const std::shared_ptr<const Platform>& platform) : platform_(platform) {}

std::optional<LogAPI::Level> LogAPI::level(std::string_view text) {
    for (const auto& [level, name] : kLevels)
        if (name == text) return level;
    return {};
}

std::string_view LogAPI::name(Level level) {
    return kLevels[static_cast<std::size_t>(level)].second;
}

void LogAPI::log(Level level, std::string_view tag, std::string_view message) noexcept {
    log(level, tag, {message});
}

void LogAPI::log(Level level, std::string_view tag, Pieces message) noexcept {
    contain(
        [&] {
            const auto text = joined(message);
            const Lock lock(mutex_);
            writeLog(level, tag, text);
        },
        [&](const std::string& reason) {
            console(joined({"Error writing log: ", reason}));
        });
}

void LogAPI::writeLog(Level level, std::string_view tag, std::string_view message) {
    const auto line = joined(
        {logTimestamp(platform_->clock->wallNow()), " | ", name(level), " | ", tag, " | ", message, "\n"});
    if (logFileSize() > static_cast<std::uint64_t>(kMaxFileSize)) removeFile(kLogFileName);
    if (!isUtf8(line)) return;
    append(document(kLogFileName), line);
}

void LogAPI::append(const std::string& path, std::string_view line) {
    std::unique_ptr<File> file;
    try {
        file = platform_->files->open(path, FileMode::existing);
    } catch (const PlatformError&) {
        platform_->files->replace(path, bytesOf(line));
        return;
    }
    const auto size = file->size();
    const bool torn = !std::exchange(endsWhole_, false) && !endsWithLine(*file, size);
    file->seek(size);
    file->write(bytesOf(torn ? joined({"\n", line}) : line));
    endsWhole_ = true;
}

std::uint64_t LogAPI::logFileSize() const {
    return platform_->files->size(document(kLogFileName)).value_or(0);
}

void LogAPI::setConfig(Config config) {
    const Lock lock(mutex_);
    config_ = std::move(config);
}

void LogAPI::uploadLog(std::optional<Config> config, std::optional<std::string> sessionId) {
    contain(
        [&] {
            std::string message, failure;
            {
                const Lock lock(mutex_);
                if (!moveToSendFile(failure)) return;
                message = readFile(kLogSendFileName);
                if (!config) config = config_;
            }
            if (!failure.empty()) console(joined({"Failed to paste file. ", failure}));
            if (ship_) ship_({std::move(config), std::move(sessionId), std::move(message)});
        },
        [this](const std::string& reason) {
            console(joined({"Failed to upload Velmor Log : ", reason}));
        });
}

// False when there is nothing to ship. The log file goes even if pasting failed: it must not pile up.
bool LogAPI::moveToSendFile(std::string& failure) {
    if (!platform_->files->size(document(kLogFileName))) return false;
    contain([&] { pasteFile(kLogFileName, kLogSendFileName); },
            [&](const std::string& reason) { failure = reason; });
    removeFile(kLogFileName);
    return true;
}

// In one step: a text that could only be moved in part would be shipped as if it were whole.
void LogAPI::pasteFile(const char* from, const char* to) const {
    const auto read = [&](const std::string& path) {
        return readAll(*platform_->files->open(path, FileMode::read));
    };
    const auto text = read(document(from));
    const auto target = document(to);
    auto whole = platform_->files->size(target) ? read(target) : std::string();
    platform_->files->replace(target, bytesOf(whole.append(text)));
}

std::string LogAPI::readFile(const char* name) const {
    std::string text;
    contain([&] { text = readAll(*platform_->files->open(document(name), FileMode::read)); });
    return repairedUtf8(text);  // a character may have been torn, and a JSON text holds nothing but UTF-8
}

void LogAPI::removeFile(const char* name) const {
    // What cannot be removed now is left to the next write or shipment.
    contain([&] { platform_->files->remove(document(name)); });
}

std::string LogAPI::document(const char* name) const {
    return joined({platform_->files->documentsDirectory(), name});
}

std::string LogAPI::logTimestamp(WallTime time) const {
    const std::tm local = platform_->device->localTime(time);
    const auto sinceEpoch = std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch());
    const auto millis = (sinceEpoch - std::chrono::floor<std::chrono::seconds>(sinceEpoch)).count();
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d.%03d", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<int>(millis));
    return text.data();
}

void LogAPI::debugPrint(std::string_view message) noexcept {
    debugPrint({message});
}

void LogAPI::debugPrint(Pieces message) noexcept {
    const auto delegate = debugLoggerDelegate();
    if (!delegate) return;
    contain([&] {
        const auto line =
            joined({logTimestamp(platform_->clock->wallNow()), " [Velmor SDK] ", joined(message)});
        tell(*delegate, line);
        console(line);
    });
}

void LogAPI::debugPrintError(const std::exception& error) noexcept {
    debugPrint(error.what());
}

void LogAPI::console(std::string_view line) const {
    if (platform_->console) platform_->console(line);
}

}  // namespace Velmor
