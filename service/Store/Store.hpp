#pragma once

#include "service/Dates.hpp"
#include "service/Store/Database.hpp"
#include "src/Runtime/ThreadSafety.hpp"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace VelmorService {

/// What a client says when it opens a session.
struct NewSession {
    std::string user;
    std::string service;
    std::string dataType;
    std::string callbackUrl;  ///< empty for none
    std::string timezone;
    Instant start = 0;
};

/// A session with the count of what it received. All times are the client's, none is this machine's clock.
struct SessionRow : NewSession {
    std::int64_t row = 0;
    std::string id;
    std::optional<Instant> end;
    std::optional<Instant> unexpectedEnd;
    bool complete = false;  ///< its report was asked for after its end
    std::int64_t received = 0;
    std::optional<std::int64_t> highest;  ///< greatest sequence number received

    bool open() const { return !end && !unexpectedEnd; }
    const char* state() const { return open() ? "OPEN" : complete ? "COMPLETE" : "CLOSED"; }
    /// The regular end or else the unexpected one.
    std::optional<Instant> ended() const { return end ? end : unexpectedEnd; }
    /// Chunks that the session should have: one for each whole 30 seconds, and in any case up to the highest
    /// number.
    std::int64_t expected() const;
    /// Share of the expected chunks that never arrived, 0 when none was expected.
    double missingRatio() const;
    /// Seconds from start to end; absent while the session is open.
    std::optional<std::int64_t> seconds() const;
};

struct ChunkRow {
    std::int64_t sequence = 0;
    std::int64_t size = 0;
    std::int64_t receives = 0;  ///< how often this number came; the last one is kept
    std::int64_t arrival = 0;   ///< position among all uploads of the session, from 1
    std::string overview;
};

struct LogRow {
    std::int64_t row = 0;
    std::string session;  ///< empty when the log names none
    std::string tags;
    std::string service;
    std::string hostname;
    std::int64_t size = 0;
};

/// Users, sessions, chunks and logs: a SQLite file and one file for each mel array, in one directory. Safe to
/// use from any thread. Throws std::runtime_error when disk or database fail.
class Store {
  public:
    /// Throws std::runtime_error with a reason that names the directory when it cannot be made or written to.
    explicit Store(std::filesystem::path directory);

    std::string newUser();
    void keepUser(const std::string& id);
    /// False when there is no such user. Its sessions go with it.
    bool removeUser(const std::string& id);
    std::optional<SessionRow> lastSession(const std::string& user);

    enum class Outcome { Done, Unknown, Closed, AlreadyOpen, BadTime };

    /// Opens a session and returns it in `id`. An open session of the same user is in the way, unless `force`
    /// ends it unexpectedly at the end of its last chunk.
    Outcome createSession(const NewSession& session, bool force, std::string& id);
    std::optional<SessionRow> session(const std::string& id);
    /// Keeps the bytes; a number that came before is replaced.
    Outcome putChunk(const std::string& id, std::int64_t sequence, std::string_view npy,
                     std::string_view overview);
    /// Ends a session; one that has ended keeps its first end.
    Outcome close(const std::string& id, Instant end, bool unexpected);
    void markComplete(const std::string& id);
    bool removeSession(const std::string& id);

    struct ListQuery {
        std::optional<std::string> user = std::nullopt;  ///< all users when absent
        std::optional<std::string> fromDay = std::nullopt;
        std::optional<std::string> toDay = std::nullopt;  ///< inclusive
        bool descending = false;
        std::int64_t offset = 0;
        std::int64_t limit = 100;
    };
    /// By start time. Days are those of the session's own time zone at its start.
    std::vector<SessionRow> sessions(const ListQuery& query);
    std::vector<ChunkRow> chunks(std::int64_t sessionRow);
    /// The .npy bytes as they came.
    std::optional<std::string> chunkBytes(const std::string& id, std::int64_t sequence);

    void addLog(const LogRow& log, std::string_view message);
    /// Newest first. With a session only its logs.
    std::vector<LogRow> logs(const std::optional<std::string>& session);
    std::optional<std::string> logText(std::int64_t row);

  private:
    std::optional<SessionRow> find(const std::string& id) VELMOR_REQUIRES(mutex_);
    void endOpenSessions(const std::string& user) VELMOR_REQUIRES(mutex_);
    void removeRows(const std::vector<std::int64_t>& rows) VELMOR_REQUIRES(mutex_);
    std::filesystem::path folder(std::int64_t sessionRow) const;
    std::filesystem::path file(std::int64_t sessionRow, std::int64_t sequence) const;

    const std::filesystem::path directory_;
    Velmor::Mutex mutex_;
    Database database_ VELMOR_GUARDED_BY(mutex_);  ///< and with it the mel files
};

}  // namespace VelmorService
