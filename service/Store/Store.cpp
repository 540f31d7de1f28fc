#include "service/Store/Store.hpp"

#include "service/MelArray.hpp"
#include "service/Store/Schema.hpp"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <utility>

namespace VelmorService {

namespace {

namespace fs = std::filesystem;

constexpr auto kChunkSeconds = static_cast<std::int64_t>(Mel::kChunkSeconds);

std::string randomHex(int words) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::random_device device;
    std::string text;
    for (int word = 0; word < words; ++word) {
        auto bits = static_cast<std::uint32_t>(device());
        for (int digit = 0; digit < 8; ++digit, bits >>= 4) {
            text += kDigits[bits & 15];
        }
    }
    return text;
}

fs::path preparedDirectory(const fs::path& directory) {
    if (directory.empty()) {
        throw std::runtime_error("no data directory was given");
    }
    std::error_code error;
    const bool made = fs::create_directories(directory / "mel", error);
    if (error) {
        throw std::runtime_error("cannot make the data directory " + directory.string() + ": " +
                                 error.message());
    }
    if (made) {
        // Sleep data: for its owner only.
        fs::permissions(directory / "mel", fs::perms::owner_all, error);
    }
    const fs::path probe = directory / "mel" / ".writable";
    if (!std::ofstream(probe)) {
        throw std::runtime_error("the data directory " + directory.string() + " is not writable");
    }
    fs::remove(probe, error);
    return directory / "service.sqlite";
}

SessionRow readSession(const Statement& found) {
    SessionRow session;
    session.row = found.integer(0);
    session.id = found.text(1);
    session.user = found.text(2);
    session.service = found.text(3);
    session.dataType = found.text(4);
    session.callbackUrl = found.text(5);
    session.timezone = found.text(6);
    session.start = found.integer(7);
    session.end = found.optionalInteger(8);
    session.unexpectedEnd = found.optionalInteger(9);
    session.complete = found.integer(10) != 0;
    session.received = found.integer(11);
    session.highest = found.optionalInteger(12);
    return session;
}

/// A reader of the page must never meet half a file, so the bytes get their name when they are all there.
void writeWhole(const fs::path& path, std::string_view bytes) {
    fs::create_directories(path.parent_path());
    const fs::path partial = path.string() + ".part";
    std::ofstream out(partial, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) {
        std::error_code ignored;
        fs::remove(partial, ignored);
        throw std::runtime_error("cannot write " + path.string());
    }
    fs::rename(partial, path);
}

}  // namespace

std::int64_t SessionRow::expected() const {
    const std::int64_t numbered = highest ? *highest + 1 : 0;
    return std::max(numbered, seconds().value_or(0) / kChunkSeconds);
}

double SessionRow::missingRatio() const {
    const std::int64_t all = expected();
    return all == 0 ? 0.0 : static_cast<double>(all - received) / static_cast<double>(all);
}

std::optional<std::int64_t> SessionRow::seconds() const {
    const auto until = ended();
    return until ? std::optional(std::max<std::int64_t>(0, *until - start)) : std::nullopt;
}

Store::Store(fs::path directory)
    : directory_(std::move(directory)), database_(preparedDirectory(directory_)) {
    prepareSchema(database_);
}

std::string Store::newUser() {
    std::string id = "user-" + randomHex(2);
    keepUser(id);
    return id;
}

void Store::keepUser(const std::string& id) {
    const Velmor::Lock lock(mutex_);
    database_.statement("INSERT OR IGNORE INTO users(id) VALUES(?)").bind(id).run();
}

bool Store::removeUser(const std::string& id) {
    const Velmor::Lock lock(mutex_);
    std::vector<std::int64_t> rows;
    auto found = database_.statement("SELECT row FROM sessions WHERE user=?");
    found.bind(id);
    while (found.step()) {
        rows.push_back(found.integer(0));
    }
    database_.statement("DELETE FROM users WHERE id=?").bind(id).run();
    const bool known = database_.changes() > 0;
    removeRows(rows);
    return known;
}

std::optional<SessionRow> Store::lastSession(const std::string& user) {
    const Velmor::Lock lock(mutex_);
    auto found = database_.statement(VELMOR_SESSION_COLUMNS "WHERE user=? ORDER BY row DESC LIMIT 1");
    return found.bind(user).step() ? std::optional(readSession(found)) : std::nullopt;
}

Store::Outcome Store::createSession(const NewSession& session, bool force, std::string& id) {
    const Velmor::Lock lock(mutex_);
    Transaction transaction(database_);
    if (force) {
        endOpenSessions(session.user);
    } else {
        auto open = database_.statement(
            "SELECT 1 FROM sessions WHERE user=? AND ended IS NULL AND unexpected_end IS NULL");
        if (open.bind(session.user).step()) {
            return Outcome::AlreadyOpen;
        }
    }
    id = randomHex(4);
    database_
        .statement(
            "INSERT INTO sessions(id, user, service, data_type, callback_url, timezone, started, day)"
            " VALUES(?,?,?,?,?,?,?,?)")
        .bind(id)
        .bind(session.user)
        .bind(session.service)
        .bind(session.dataType)
        .bind(session.callbackUrl)
        .bind(session.timezone)
        .bind(session.start)
        .bind(dayOf(session.start, session.timezone))
        .run();
    transaction.commit();
    return Outcome::Done;
}

void Store::endOpenSessions(const std::string& user) {
    database_
        .statement(
            "UPDATE sessions SET unexpected_end = started + ? * (1 + coalesce("
            "(SELECT max(sequence) FROM chunks WHERE session=row), -1))"
            " WHERE user=? AND ended IS NULL AND unexpected_end IS NULL")
        .bind(kChunkSeconds)
        .bind(user)
        .run();
}

std::optional<SessionRow> Store::find(const std::string& id) {
    auto found = database_.statement(VELMOR_SESSION_COLUMNS "WHERE id=?");
    return found.bind(id).step() ? std::optional(readSession(found)) : std::nullopt;
}

std::optional<SessionRow> Store::session(const std::string& id) {
    const Velmor::Lock lock(mutex_);
    return find(id);
}

Store::Outcome Store::putChunk(const std::string& id, std::int64_t sequence, std::string_view npy,
                               std::string_view overview) {
    const Velmor::Lock lock(mutex_);
    const auto session = find(id);
    if (!session) {
        return Outcome::Unknown;
    }
    if (!session->open()) {
        return Outcome::Closed;
    }
    writeWhole(file(session->row, sequence), npy);
    database_
        .statement(
            "INSERT INTO chunks(session, sequence, size, receives, arrival, overview)"
            " VALUES(?1, ?2, ?3, 1, 1 + (SELECT coalesce(sum(receives), 0) FROM chunks WHERE session=?1), ?4)"
            " ON CONFLICT(session, sequence) DO UPDATE SET size=excluded.size, receives=receives+1,"
            " arrival=excluded.arrival, overview=excluded.overview")
        .bind(session->row)
        .bind(sequence)
        .bind(static_cast<std::int64_t>(npy.size()))
        .bindBlob(overview)
        .run();
    return Outcome::Done;
}

Store::Outcome Store::close(const std::string& id, Instant end, bool unexpected) {
    const Velmor::Lock lock(mutex_);
    const auto session = find(id);
    if (!session) {
        return Outcome::Unknown;
    }
    if (!session->open()) {
        return Outcome::Closed;
    }
    if (end < session->start) {
        return Outcome::BadTime;
    }
    database_.statement("UPDATE sessions SET ended=?, unexpected_end=? WHERE row=?")
        .bind(end)
        .bind(unexpected ? std::optional(end) : std::nullopt)
        .bind(session->row)
        .run();
    return Outcome::Done;
}

void Store::markComplete(const std::string& id) {
    const Velmor::Lock lock(mutex_);
    database_.statement("UPDATE sessions SET complete=1 WHERE id=?").bind(id).run();
}

bool Store::removeSession(const std::string& id) {
    const Velmor::Lock lock(mutex_);
    const auto session = find(id);
    if (session) {
        removeRows({session->row});
    }
    return session.has_value();
}

void Store::removeRows(const std::vector<std::int64_t>& rows) {
    for (const auto row : rows) {
        // Chunks go with the session; row numbers are never used again, so a left-over folder harms nobody.
        database_.statement("DELETE FROM sessions WHERE row=?").bind(row).run();
        std::error_code ignored;
        fs::remove_all(folder(row), ignored);
    }
}

std::vector<SessionRow> Store::sessions(const ListQuery& query) {
    const Velmor::Lock lock(mutex_);
    const char* const ascending =
        VELMOR_SESSION_COLUMNS VELMOR_SESSION_FILTER "ORDER BY started ASC, row ASC LIMIT ?4 OFFSET ?5";
    const char* const descending =
        VELMOR_SESSION_COLUMNS VELMOR_SESSION_FILTER "ORDER BY started DESC, row DESC LIMIT ?4 OFFSET ?5";
    auto found = database_.statement(query.descending ? descending : ascending);
    // No user id can be a line feed, and every day lies between these two.
    found.bind(query.user.value_or("\n")).bind(query.fromDay.value_or("0")).bind(query.toDay.value_or("~"));
    found.bind(query.limit).bind(query.offset);
    std::vector<SessionRow> sessions;
    while (found.step()) {
        sessions.push_back(readSession(found));
    }
    return sessions;
}

std::vector<ChunkRow> Store::chunks(std::int64_t sessionRow) {
    const Velmor::Lock lock(mutex_);
    auto found = database_.statement(
        "SELECT sequence, size, receives, arrival, overview FROM chunks WHERE session=? ORDER BY sequence");
    found.bind(sessionRow);
    std::vector<ChunkRow> chunks;
    while (found.step()) {
        chunks.push_back(
            {found.integer(0), found.integer(1), found.integer(2), found.integer(3), found.text(4)});
    }
    return chunks;
}

std::optional<std::string> Store::chunkBytes(const std::string& id, std::int64_t sequence) {
    const Velmor::Lock lock(mutex_);
    const auto session = find(id);
    if (!session) {
        return std::nullopt;
    }
    std::ifstream in(file(session->row, sequence), std::ios::binary);
    if (!in) {
        return std::nullopt;
    }
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void Store::addLog(const LogRow& log, std::string_view message) {
    const Velmor::Lock lock(mutex_);
    database_.statement("INSERT INTO logs(session, tags, service, hostname, message) VALUES(?,?,?,?,?)")
        .bind(log.session)
        .bind(log.tags)
        .bind(log.service)
        .bind(log.hostname)
        .bind(message)
        .run();
}

std::vector<LogRow> Store::logs(const std::optional<std::string>& session) {
    const Velmor::Lock lock(mutex_);
    auto found = database_.statement(
        "SELECT row, session, tags, service, hostname, length(CAST(message AS BLOB)) FROM logs"
        " WHERE ?1 IS NULL OR session=?1 ORDER BY row DESC");
    if (session) {
        found.bind(*session);
    } else {
        found.bind(std::optional<std::int64_t>());
    }
    std::vector<LogRow> logs;
    while (found.step()) {
        logs.push_back(
            {found.integer(0), found.text(1), found.text(2), found.text(3), found.text(4), found.integer(5)});
    }
    return logs;
}

std::optional<std::string> Store::logText(std::int64_t row) {
    const Velmor::Lock lock(mutex_);
    auto found = database_.statement("SELECT message FROM logs WHERE row=?");
    return found.bind(row).step() ? std::optional(found.text(0)) : std::nullopt;
}

fs::path Store::folder(std::int64_t sessionRow) const {
    return directory_ / "mel" / std::to_string(sessionRow);
}

fs::path Store::file(std::int64_t sessionRow, std::int64_t sequence) const {
    return folder(sessionRow) / (std::to_string(sequence) + ".npy");
}

}  // namespace VelmorService
