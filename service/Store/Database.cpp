#include "service/Store/Database.hpp"

#include <sqlite3.h>
#include <stdexcept>

namespace VelmorService {

namespace {

constexpr int kBusyMilliseconds = 2000;

}  // namespace

Statement::~Statement() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

void Statement::check(int code) const {
    if (code != SQLITE_OK && code != SQLITE_ROW && code != SQLITE_DONE) {
        throw std::runtime_error(std::string("SQLite: ") + sqlite3_errmsg(sqlite3_db_handle(statement_)));
    }
}

Statement& Statement::bind(std::int64_t value) {
    check(sqlite3_bind_int64(statement_, ++bound_, value));
    return *this;
}

Statement& Statement::bind(std::string_view value) {
    check(sqlite3_bind_text64(statement_, ++bound_, value.data() == nullptr ? "" : value.data(), value.size(),
                              SQLITE_TRANSIENT, SQLITE_UTF8));
    return *this;
}

Statement& Statement::bindBlob(std::string_view value) {
    check(sqlite3_bind_blob64(statement_, ++bound_, value.data(), value.size(), SQLITE_TRANSIENT));
    return *this;
}

Statement& Statement::bind(const std::optional<std::int64_t>& value) {
    if (value) {
        return bind(*value);
    }
    check(sqlite3_bind_null(statement_, ++bound_));
    return *this;
}

bool Statement::step() {
    const int code = sqlite3_step(statement_);
    check(code);
    return code == SQLITE_ROW;
}

std::int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

std::optional<std::int64_t> Statement::optionalInteger(int column) const {
    if (sqlite3_column_type(statement_, column) == SQLITE_NULL) {
        return std::nullopt;
    }
    return integer(column);
}

std::string Statement::text(int column) const {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    const auto count = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
    return bytes == nullptr ? std::string() : std::string(bytes, count);
}

Database::Database(const std::string& file) : file_(file) {
    const int code = sqlite3_open_v2(
        file.c_str(), &handle_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    try {
        if (code != SQLITE_OK) {
            fail("cannot open");
        }
        sqlite3_busy_timeout(handle_, kBusyMilliseconds);
        execute("PRAGMA journal_mode=WAL");
        execute("PRAGMA synchronous=NORMAL");
        execute("PRAGMA foreign_keys=ON");
    } catch (...) {
        sqlite3_close_v2(handle_);
        throw;
    }
}

Database::~Database() {
    for (const auto& [sql, prepared] : prepared_) {
        sqlite3_finalize(prepared);
    }
    sqlite3_close_v2(handle_);
}

void Database::fail(const std::string& what) const {
    throw std::runtime_error(what + " " + file_ + ": " + sqlite3_errmsg(handle_));
}

Statement Database::statement(const char* sql) {
    auto& prepared = prepared_[sql];
    if (prepared == nullptr &&
        sqlite3_prepare_v3(handle_, sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr) != SQLITE_OK) {
        fail("cannot read or write");
    }
    return Statement(prepared);
}

void Database::execute(const char* sql) {
    if (sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail("cannot read or write");
    }
}

std::int64_t Database::changes() const {
    return sqlite3_changes(handle_);
}

Transaction::~Transaction() {
    if (open_) {
        try {
            database_.execute("ROLLBACK");
        } catch (
            const std::runtime_error&) {  // NOLINT(bugprone-empty-catch): SQLite has rolled back by itself
        }
    }
}

void Transaction::commit() {
    database_.execute("COMMIT");
    open_ = false;
}

}  // namespace VelmorService
