#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace VelmorService {

/// One use of a prepared statement: bind in order, then step. Resets the statement at its end.
class Statement {
  public:
    explicit Statement(sqlite3_stmt* statement) : statement_(statement) {}
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(std::int64_t value);
    Statement& bind(std::string_view value);
    Statement& bindBlob(std::string_view value);
    Statement& bind(const std::optional<std::int64_t>& value);
    /// True while there is a row. Throws std::runtime_error when SQLite fails.
    bool step();
    void run() {
        while (step()) {
        }
    }

    std::int64_t integer(int column) const;
    std::optional<std::int64_t> optionalInteger(int column) const;
    std::string text(int column) const;

  private:
    void check(int code) const;

    sqlite3_stmt* statement_;
    int bound_ = 0;
};

/// A SQLite database that keeps its statements prepared. For one thread at a time.
class Database {
  public:
    /// Opens or creates the file, with a write-ahead log that is not flushed at every commit: a power cut may
    /// lose the last moments, never the database. Throws std::runtime_error that names the file.
    explicit Database(const std::string& file);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// `sql` must be a string literal: its address is the key under which the prepared statement is kept.
    Statement statement(const char* sql);
    void execute(const char* sql);
    std::int64_t changes() const;

  private:
    [[noreturn]] void fail(const std::string& what) const;

    std::string file_;
    sqlite3* handle_ = nullptr;
    std::map<const char*, sqlite3_stmt*> prepared_;
};

/// Rolls back unless `commit` was called.
class Transaction {
  public:
    explicit Transaction(Database& database) : database_(database) { database_.execute("BEGIN IMMEDIATE"); }
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void commit();

  private:
    Database& database_;
    bool open_ = true;
};

}  // namespace VelmorService
