#include "core/database.h"

#include <sqlite3.h>

#include <utility>

#include "platform/text.h"

namespace ombrix::core {
namespace {

int collateNoCase(void*, int lenA, const void* a, int lenB, const void* b) {
    return compareNoCase(std::string_view(static_cast<const char*>(a), static_cast<std::size_t>(lenA)),
                         std::string_view(static_cast<const char*>(b), static_cast<std::size_t>(lenB)));
}

}  // namespace

Statement::Statement(Statement&& other) noexcept
    : stmt_(std::exchange(other.stmt_, nullptr)), failed_(other.failed_) {}

Statement& Statement::operator=(Statement&& other) noexcept {
    if (this != &other) {
        sqlite3_finalize(stmt_);
        stmt_ = std::exchange(other.stmt_, nullptr);
        failed_ = other.failed_;
    }
    return *this;
}

Statement::~Statement() { sqlite3_finalize(stmt_); }

bool Statement::bind(int index, const Value& value) {
    if (!stmt_) return false;
    int rc;
    if (value.isEmpty() || value.isNull()) {
        rc = sqlite3_bind_null(stmt_, index);
    } else if (value.isInteger()) {
        rc = sqlite3_bind_int64(stmt_, index, value.toInteger());
    } else if (value.isReal()) {
        rc = sqlite3_bind_double(stmt_, index, value.toReal());
    } else {
        const std::string text = value.toText();
        rc = sqlite3_bind_text(stmt_, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    }
    return rc == SQLITE_OK;
}

bool Statement::bindAll(const std::vector<Value>& values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!bind(static_cast<int>(i) + 1, values[i])) return false;
    }
    return true;
}

bool Statement::step() {
    if (!stmt_) {
        failed_ = true;
        return false;
    }
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) return true;
    failed_ = rc != SQLITE_DONE;
    return false;
}

std::string Statement::error() const {
    return stmt_ ? sqlite3_errmsg(sqlite3_db_handle(stmt_)) : "the statement could not be prepared";
}

int Statement::columnCount() const { return stmt_ ? sqlite3_column_count(stmt_) : 0; }

std::string Statement::columnName(int column) const {
    const char* name = stmt_ ? sqlite3_column_name(stmt_, column) : nullptr;
    return name ? name : "";
}

Value Statement::column(int column) const {
    if (!stmt_) return Value::null();
    switch (sqlite3_column_type(stmt_, column)) {
        case SQLITE_INTEGER:
            return Value(static_cast<std::int64_t>(sqlite3_column_int64(stmt_, column)));
        case SQLITE_FLOAT:
            return Value(sqlite3_column_double(stmt_, column));
        case SQLITE_TEXT:
        case SQLITE_BLOB: {
            const auto* p = static_cast<const char*>(sqlite3_column_blob(stmt_, column));
            const int n = sqlite3_column_bytes(stmt_, column);
            return Value(std::string(p ? p : "", static_cast<std::size_t>(n)));
        }
        default:
            return Value::null();
    }
}

void Statement::reset() {
    if (stmt_) {
        sqlite3_reset(stmt_);
        sqlite3_clear_bindings(stmt_);
    }
    failed_ = false;
}

Database::Database(Database&& other) noexcept
    : db_(std::exchange(other.db_, nullptr)),
      busyMilliseconds_(other.busyMilliseconds_),
      notADatabase_(other.notADatabase_),
      path_(std::move(other.path_)),
      lastError_(std::move(other.lastError_)) {}

Database& Database::operator=(Database&& other) noexcept {
    if (this != &other) {
        close();
        db_ = std::exchange(other.db_, nullptr);
        busyMilliseconds_ = other.busyMilliseconds_;
        notADatabase_ = other.notADatabase_;
        path_ = std::move(other.path_);
        lastError_ = std::move(other.lastError_);
    }
    return *this;
}

Database::~Database() { close(); }

bool Database::open(const std::string& path, Mode mode) {
    close();
    int flags = mode == Mode::ReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    if (mode == Mode::CreateIfMissing) flags |= SQLITE_OPEN_CREATE;
    sqlite3* handle = nullptr;
    const int rc = sqlite3_open_v2(path.c_str(), &handle, flags, nullptr);
    if (rc != SQLITE_OK) {
        lastError_ = handle ? sqlite3_errmsg(handle) : sqlite3_errstr(rc);
        sqlite3_close(handle);
        return false;
    }
    db_ = handle;
    path_ = path;
    notADatabase_ = false;
    busyMilliseconds_ = 2000;
    sqlite3_busy_timeout(db_, busyMilliseconds_);
    sqlite3_create_collation(db_, kTextCollation, SQLITE_UTF8, nullptr, &collateNoCase);
    // Some of our files may be replaced by any user of the machine: nothing a
    // file holds may run code of consequence in our process.
    if (sqlite3_db_config(db_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr) != SQLITE_OK ||
        !exec("PRAGMA trusted_schema = OFF;")) {
        noteError();
        const std::string error = lastError_;
        close();
        lastError_ = error;
        return false;
    }
    // A file that is not a database fails here rather than at the first query.
    if (!exec("SELECT count(*) FROM sqlite_master;")) {
        const std::string error = lastError_;
        close();
        lastError_ = error;
        return false;
    }
    return true;
}

void Database::close() {
    if (db_) {
        sqlite3_close_v2(db_);
        db_ = nullptr;
    }
}

void Database::noteError() {
    lastError_ = db_ ? sqlite3_errmsg(db_) : "the store is not open";
    if (db_) noteCode(sqlite3_errcode(db_));
}

void Database::noteCode(int rc) {
    const int primary = rc & 0xff;
    notADatabase_ = primary == SQLITE_NOTADB || primary == SQLITE_CORRUPT;
}

bool Database::copyTo(Database& target) {
    if (!db_ || !target.db_) {
        target.lastError_ = "the store is not open";
        return false;
    }
    sqlite3_backup* backup = sqlite3_backup_init(target.db_, "main", db_, "main");
    if (!backup) {
        target.noteError();
        return false;
    }
    const int stepped = sqlite3_backup_step(backup, -1);
    const int finished = sqlite3_backup_finish(backup);
    if (stepped != SQLITE_DONE || finished != SQLITE_OK) {
        target.lastError_ = sqlite3_errstr(stepped != SQLITE_DONE ? stepped : finished);
        return false;
    }
    return true;
}

void Database::setBusyTimeout(int milliseconds) {
    busyMilliseconds_ = milliseconds;
    if (db_) sqlite3_busy_timeout(db_, milliseconds);
}

std::optional<std::int64_t> Database::dataVersion() {
    if (!db_) return std::nullopt;
    sqlite3_busy_timeout(db_, 0);
    const Value version = scalar("PRAGMA data_version;");
    sqlite3_busy_timeout(db_, busyMilliseconds_);
    if (!version.isInteger()) return std::nullopt;
    return version.toInteger();
}

Statement Database::prepare(std::string_view sql) {
    if (!db_) {
        noteError();
        return Statement();
    }
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db_, sql.data(), static_cast<int>(sql.size()), &stmt, nullptr) != SQLITE_OK) {
        noteError();
        sqlite3_finalize(stmt);
        return Statement();
    }
    return Statement(stmt);
}

bool Database::exec(std::string_view sql) {
    if (!db_) {
        noteError();
        return false;
    }
    char* error = nullptr;
    const std::string text(sql);
    if (const int rc = sqlite3_exec(db_, text.c_str(), nullptr, nullptr, &error); rc != SQLITE_OK) {
        lastError_ = error ? error : "statement failed";
        noteCode(rc);
        sqlite3_free(error);
        return false;
    }
    return true;
}

bool Database::run(std::string_view sql, const std::vector<Value>& params) {
    Statement stmt = prepare(sql);
    if (!stmt.valid() || !stmt.bindAll(params)) {
        noteError();
        return false;
    }
    while (stmt.step()) {
    }
    if (stmt.failed()) {
        noteError();
        return false;
    }
    return true;
}

Value Database::scalar(std::string_view sql, const std::vector<Value>& params) {
    Statement stmt = prepare(sql);
    if (!stmt.valid() || !stmt.bindAll(params)) return Value();
    if (stmt.step()) return stmt.column(0);
    if (stmt.failed()) noteError();
    return Value();
}

int Database::changes() const { return db_ ? sqlite3_changes(db_) : 0; }

Transaction::Transaction(Database& db) : db_(db) { active_ = db_.exec("BEGIN IMMEDIATE;"); }

Transaction::~Transaction() {
    // A rollback that fails leaves the transaction open, and closing the
    // connection rolls it back: nothing more to do here.
    if (active_) (void)db_.exec("ROLLBACK;");
}

bool Transaction::commit() {
    if (!active_) return false;
    active_ = !db_.exec("COMMIT;");
    if (active_) {
        (void)db_.exec("ROLLBACK;");  // as in the destructor
        active_ = false;
        return false;
    }
    return true;
}

bool isPlainIdentifier(std::string_view name) {
    if (name.empty() || name.size() > 64) return false;
    for (const char c : name) {
        const bool ok = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
        if (!ok) return false;
    }
    return true;
}

}  // namespace ombrix::core
