#pragma once
// A small owner of one SQLite connection and its prepared statements. Values
// are always bound, never pasted into statements. Failures come back as
// results; nothing here throws.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/value.h"

struct sqlite3;
struct sqlite3_stmt;

namespace ombrix::core {

// The program compares text with this collation: case is ignored for ASCII
// and accented letters alike. Every connection of ours registers it and our
// statements name it where they compare text; the schema never does, so any
// SQLite tool can open, change and repair the file.
inline constexpr const char* kTextCollation = "NOCASE_LATIN";
// The tail of a comparison of a text column with one bound value.
#define OMBRIX_TEXT_EQUALS " = ? COLLATE NOCASE_LATIN"

class Statement {
public:
    Statement() = default;
    Statement(Statement&&) noexcept;
    Statement& operator=(Statement&&) noexcept;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement();

    [[nodiscard]] bool valid() const { return stmt_ != nullptr; }
    // Binds 1-based parameters; Empty and Null bind as NULL.
    bool bind(int index, const Value& value);
    bool bindAll(const std::vector<Value>& values);
    // True while a row is available; false at the end or on failure (see failed()).
    [[nodiscard]] bool step();
    [[nodiscard]] bool failed() const { return failed_; }
    // The store's message for the last failure of this statement.
    [[nodiscard]] std::string error() const;
    [[nodiscard]] int columnCount() const;
    [[nodiscard]] std::string columnName(int column) const;
    // Null for a NULL column.
    [[nodiscard]] Value column(int column) const;
    void reset();

private:
    friend class Database;
    explicit Statement(sqlite3_stmt* stmt) : stmt_(stmt) {}
    sqlite3_stmt* stmt_ = nullptr;
    bool failed_ = false;
};

class Database {
public:
    Database() = default;
    Database(Database&&) noexcept;
    Database& operator=(Database&&) noexcept;
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    // ReadOnly: nothing this connection runs can change the file.
    enum class Mode { OpenExisting, CreateIfMissing, ReadOnly };
    // Opens a file (or ":memory:"), registering the store's text collation.
    // The file's schema is never trusted: views, triggers and defaults may
    // not call functions or virtual tables with side effects, and the schema
    // cannot be written around the engine (trusted_schema off, defensive on).
    [[nodiscard]] bool open(const std::string& path, Mode mode = Mode::OpenExisting);
    void close();
    [[nodiscard]] bool isOpen() const { return db_ != nullptr; }
    [[nodiscard]] const std::string& path() const { return path_; }

    [[nodiscard]] Statement prepare(std::string_view sql);
    // Runs one or more statements without parameters.
    [[nodiscard]] bool exec(std::string_view sql);
    // Runs one statement with bound values, stepping it to the end.
    [[nodiscard]] bool run(std::string_view sql, const std::vector<Value>& params = {});
    // The first column of the first row; Empty when there is no row.
    [[nodiscard]] Value scalar(std::string_view sql, const std::vector<Value>& params = {});
    [[nodiscard]] int changes() const;
    [[nodiscard]] const std::string& lastError() const { return lastError_; }
    // Whether the last failure was a file that is not a database, or a damaged one.
    [[nodiscard]] bool lastErrorIsNotADatabase() const { return notADatabase_; }
    // Replaces the whole content of `target` with this database's, as one
    // transaction of the target (the engine's online backup): a cut leaves
    // the target as it was. The reason is in target's lastError when false.
    [[nodiscard]] bool copyTo(Database& target);
    // How long a statement waits for another connection's lock (2 s unless set).
    void setBusyTimeout(int milliseconds);
    // The engine's count that moves when another connection, in this
    // process or another, commits a change to the file. nullopt while that
    // connection holds the file locked: the caller asks again later rather
    // than wait for it.
    [[nodiscard]] std::optional<std::int64_t> dataVersion();

private:
    void noteError();
    void noteCode(int rc);
    sqlite3* db_ = nullptr;
    int busyMilliseconds_ = 2000;
    bool notADatabase_ = false;
    std::string path_;
    std::string lastError_;
};

// Rolls back unless committed; never throws.
class Transaction {
public:
    explicit Transaction(Database& db);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();
    [[nodiscard]] bool active() const { return active_; }
    bool commit();

private:
    Database& db_;
    bool active_ = false;
};

// A name usable as a table or column name: letters, digits and "_".
[[nodiscard]] bool isPlainIdentifier(std::string_view name);

}  // namespace ombrix::core
