// The library's own record of what it does: a log file that is kept and shipped, and debug lines for a
// delegate.
#pragma once

#include "Runtime/Text.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <Velmor/Config.hpp>
#include <Velmor/Log.hpp>
#include <Velmor/Platform.hpp>

namespace Velmor {

class LogAPI {
  public:
    enum class Level { I, W, E, D, WTF };

    /// What one shipment carries to the log proxy. Without a configuration it goes nowhere.
    struct Shipment {
        std::optional<Config> config;
        std::optional<std::string> sessionId;
        std::string message;
    };
    using Ship = std::function<void(Shipment)>;

    static constexpr std::int64_t kMaxFileSize =
        1'048'576;  ///< bytes; a larger file is dropped before a write
    static constexpr const char* kLogFileName = "VelmorSDK.log";
    static constexpr const char* kLogSendFileName = "VelmorSDK_send.log";

    explicit LogAPI(const std::shared_ptr<const Platform>& platform);

    /// None when the text names no level.
    static std::optional<Level> level(std::string_view text);
    static std::string_view name(Level level);

    /// Appends one line to the log file; it is on disk on return. Any thread; never fails towards the caller.
    /// Not to be called with a lock held that a debug delegate or a file seam could want.
    void log(Level level, std::string_view tag, std::string_view message) noexcept;
    void log(Level level, std::string_view tag, Pieces message) noexcept;

    /// Hands a debug line to the delegate and the console; nothing at all while there is no delegate. A line
    /// that is printed from inside the delegate, on its thread, goes to the console alone, ahead of the line
    /// that the delegate is being told. Any thread; never fails towards the caller.
    void debugPrint(std::string_view message) noexcept;
    void debugPrint(Pieces message) noexcept;
    void debugPrintError(const std::exception& error) noexcept;

    /// Prints a line on the console alone.
    void console(std::string_view line) const;

    /// "yyyy-MM-dd HH:mm:ss.SSS" in the device's time zone.
    std::string logTimestamp(WallTime time) const;

    /// Who carries shipments; to be set before the first `uploadLog`.
    void setShip(Ship ship) { ship_ = std::move(ship); }

    /// The configuration of shipments whose caller gives none: that of the last user who joined. None at
    /// first. Any thread.
    void setConfig(Config config);

    /// Moves the log file's text behind whatever waits in the send file and hands the whole to the shipper:
    /// one attempt for each text, so that a diagnostic aid never piles up on the device. Nothing happens
    /// without a log file.
    void uploadLog(std::optional<Config> config, std::optional<std::string> sessionId);

    /// After the attempt, whatever came of it. A failure is ignored; the text then rides along with the next
    /// shipment.
    void removeSendFile() { removeFile(kLogSendFileName); }

    /// Size of the log file in bytes, 0 when unknown.
    std::uint64_t logFileSize() const;

  private:
    void writeLog(Level level, std::string_view tag, std::string_view message) VELMOR_REQUIRES(mutex_);
    void append(const std::string& path, std::string_view line) VELMOR_REQUIRES(mutex_);
    void pasteFile(const char* from, const char* to) const;
    std::string readFile(const char* name) const VELMOR_REQUIRES(mutex_);
    void removeFile(const char* name) const;
    bool moveToSendFile(std::string& failure) VELMOR_REQUIRES(mutex_);
    std::string document(const char* name) const;

    const std::shared_ptr<const Platform> platform_;
    Mutex mutex_;  // one file operation of the log at a time
    /// Whether the log file is known to end with a line: not after a process before this one may have died in
    /// a write, nor after a write that failed half way. A torn line is then closed before the next.
    bool endsWhole_ VELMOR_GUARDED_BY(mutex_) = false;
    std::optional<Config> config_ VELMOR_GUARDED_BY(mutex_);
    Ship ship_;  // constant after set-up
};

/// Process-wide slot of the debug delegate; it outlives every LogAPI.
std::shared_ptr<VelmorDebugLoggerDelegate> debugLoggerDelegate();

}  // namespace Velmor
