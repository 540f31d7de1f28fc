#include "service/Store/Schema.hpp"

#include <cstdint>
#include <stdexcept>

namespace VelmorService {

namespace {

constexpr std::int64_t kVersion = 1;

constexpr const char* kTables = R"(
CREATE TABLE users(
    id TEXT PRIMARY KEY
) WITHOUT ROWID;
CREATE TABLE sessions(
    row INTEGER PRIMARY KEY AUTOINCREMENT,
    id TEXT NOT NULL UNIQUE,
    user TEXT NOT NULL,
    service TEXT NOT NULL,
    data_type TEXT NOT NULL,
    callback_url TEXT NOT NULL,
    timezone TEXT NOT NULL,
    started INTEGER NOT NULL,
    day TEXT NOT NULL,
    ended INTEGER,
    unexpected_end INTEGER,
    complete INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX sessions_of_user ON sessions(user, started);
CREATE TABLE chunks(
    session INTEGER NOT NULL REFERENCES sessions(row) ON DELETE CASCADE,
    sequence INTEGER NOT NULL,
    size INTEGER NOT NULL,
    receives INTEGER NOT NULL,
    arrival INTEGER NOT NULL,
    overview BLOB NOT NULL,
    PRIMARY KEY(session, sequence)
) WITHOUT ROWID;
CREATE TABLE logs(
    row INTEGER PRIMARY KEY AUTOINCREMENT,
    session TEXT NOT NULL,
    tags TEXT NOT NULL,
    service TEXT NOT NULL,
    hostname TEXT NOT NULL,
    message TEXT NOT NULL
);
PRAGMA user_version=1;
)";

std::int64_t versionOf(Database& database) {
    auto version = database.statement("PRAGMA user_version");
    return version.step() ? version.integer(0) : 0;
}

}  // namespace

void prepareSchema(Database& database) {
    Transaction transaction(database);
    const auto version = versionOf(database);
    if (version == 0) {
        database.execute(kTables);
    } else if (version != kVersion) {
        throw std::runtime_error(
            "the data directory was made by another version of the local service (format " +
            std::to_string(version) + ", this one reads " + std::to_string(kVersion) + ")");
    }
    transaction.commit();
}

}  // namespace VelmorService
