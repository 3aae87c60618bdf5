#include "enforce/log_file.h"

#include "core/schema.h"
#include "core/store_location.h"
#include "enforce/site_log.h"
#include "platform/failures.h"
#include "support/messages.h"

namespace ombrix::enforce {
namespace {

// The log's whole schema, as the engine keeps its text. The same table and
// index as the store's LogSiti.
constexpr std::string_view kTableSql = "CREATE TABLE LogSiti(DataOra DateTime, URL Text(255))";
constexpr std::string_view kIndexSql = "CREATE INDEX LogSitiDataOra ON LogSiti (DataOra)";

// The timers give up on a lock held elsewhere (ombrixctl, a pupil's tool)
// rather than wait for it.
constexpr int kBusyMilliseconds = 50;

enum class Shape { Empty, Log, LogWithoutIndex, Other, Unreadable };

// A name from the file, fit to be shown: control characters become '?'.
std::string shown(std::string text) {
    if (text.size() > 64) text.resize(64);
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
    }
    return text;
}

// Anything but our table and its index makes the file something else: a view
// or a trigger could make a read or a write loop for ever.
Shape shapeOf(core::Database& log, std::string& why) {
    core::Statement q = log.prepare("SELECT type, name, tbl_name, sql FROM sqlite_master ORDER BY rowid;");
    bool any = false, table = false, index = false;
    while (q.step()) {
        any = true;
        const std::string type = q.column(0).toText(), name = q.column(1).toText();
        const std::string owner = q.column(2).toText(), sql = q.column(3).toText();
        if (type == "table" && name == "LogSiti" && sql == kTableSql) {
            table = true;
        } else if (type == "index" && name == "LogSitiDataOra" && owner == "LogSiti" && sql == kIndexSql) {
            index = true;
        } else {
            why = "it holds the " + shown(type) + " " + shown(name);
            return Shape::Other;
        }
    }
    if (!q.valid() || q.failed()) {
        why = log.lastError();
        if (q.valid()) why = q.error();
        return Shape::Unreadable;
    }
    if (!any) return Shape::Empty;
    if (!table) {
        why = "it holds no table LogSiti";
        return Shape::Other;
    }
    return index ? Shape::Log : Shape::LogWithoutIndex;
}

// The store's own rows, oldest first, into the new log.
bool copyStoreRows(core::Database& store, core::Database& log, std::string& error) {
    if (!core::tableExists(store, "LogSiti")) return true;
    core::Statement read = store.prepare("SELECT DataOra, URL FROM LogSiti ORDER BY rowid;");
    core::Statement insert = log.prepare("INSERT INTO LogSiti (DataOra, URL) VALUES (?, ?);");
    if (!read.valid() || !insert.valid()) {
        error = read.valid() ? log.lastError() : store.lastError();
        return false;
    }
    while (read.step()) {
        insert.reset();
        if (!insert.bind(1, read.column(0)) || !insert.bind(2, read.column(1)) || insert.step() || insert.failed()) {
            error = insert.error();
            return false;
        }
    }
    if (read.failed()) {
        error = read.error();
        return false;
    }
    return true;
}

}  // namespace

std::string logFolderOf(std::string_view storeFolder, char separator) {
    return core::joinPath(storeFolder, core::kLogFolderName, separator);
}

std::string logFileOf(std::string_view storeFolder, char separator) {
    return core::joinPath(logFolderOf(storeFolder, separator), core::kLogFileName, separator);
}

MessageId LogOpening::messageId() const {
    switch (outcome) {
        case Outcome::Opened:
            return {};
        case Outcome::NotALog:
            return msg::LogNotOurs;
        case Outcome::CannotOpen:
            break;
    }
    return msg::LogCannotBeOpened;
}

LogOpening openLogFile(platform::FileSystem& files, std::string_view storeFolder, char separator,
                       core::Database& store, core::Database& log) {
    LogOpening r;
    r.path = logFileOf(storeFolder, separator);
    log.close();
    auto fail = [&](LogOpening::Outcome outcome, std::string error) {
        log.close();
        r.outcome = outcome;
        r.error = std::move(error);
        return r;
    };
    if (storeFolder.empty() || !store.isOpen()) return fail(LogOpening::Outcome::CannotOpen, "the store is not open");
    if (!files.createDirectory(logFolderOf(storeFolder, separator))) {
        return fail(LogOpening::Outcome::CannotOpen, "the folder cannot be made");
    }
    if (!log.open(r.path, core::Database::Mode::CreateIfMissing)) {
        return fail(log.lastErrorIsNotADatabase() ? LogOpening::Outcome::NotALog : LogOpening::Outcome::CannotOpen,
                    log.lastError());
    }
    log.setBusyTimeout(kBusyMilliseconds);
    auto unreadable = [&](const std::string& why) {
        return fail(log.lastErrorIsNotADatabase() ? LogOpening::Outcome::NotALog : LogOpening::Outcome::CannotOpen,
                    why);
    };
    std::string why;
    Shape shape = shapeOf(log, why);
    if (shape == Shape::Log) {
        r.outcome = LogOpening::Outcome::Opened;
        return r;
    }
    if (shape == Shape::Other) return fail(LogOpening::Outcome::NotALog, why);
    if (shape == Shape::Unreadable) return unreadable(why);

    // Made (or finished) under the write lock: another process may be
    // opening the same new log at this moment.
    core::Transaction tx(log);
    if (!tx.active()) return fail(LogOpening::Outcome::CannotOpen, log.lastError());
    shape = shapeOf(log, why);
    if (shape == Shape::Other) return fail(LogOpening::Outcome::NotALog, why);
    if (shape == Shape::Unreadable) return unreadable(why);
    if (shape == Shape::Empty) {
        if (!log.exec(std::string(kTableSql) + ";")) return fail(LogOpening::Outcome::CannotOpen, log.lastError());
        // The store's old rows stay where they are: a pupil's session, which
        // opens the log first, may not change the store; and a log is only
        // filled while its table is made, so they are never copied twice.
        std::string error;
        if (!copyStoreRows(store, log, error)) return fail(LogOpening::Outcome::CannotOpen, error);
    }
    if (shape != Shape::Log && !log.exec(std::string(kIndexSql) + ";")) {
        return fail(LogOpening::Outcome::CannotOpen, log.lastError());
    }
    if (!tx.commit()) return fail(LogOpening::Outcome::CannotOpen, log.lastError());
    r.outcome = LogOpening::Outcome::Opened;
    return r;
}

VisitedSitesLog::VisitedSitesLog(platform::FileSystem& files, platform::Clock& clock, core::Database& store,
                                 std::function<std::string()> storeFolder, char separator)
    : files_(files), clock_(clock), store_(store), storeFolder_(std::move(storeFolder)), separator_(separator) {}

core::Database* VisitedSitesLog::connection() {
    if (log_.isOpen()) return &log_;
    opening_ = openLogFile(files_, storeFolder_(), separator_, store_, log_);
    if (!opening_.ok()) return nullptr;
    waiting_ = false;
    return &log_;
}

void VisitedSitesLog::giveUpForNow(platform::TraceText what, std::string_view why) {
    platform::recordFailure(what, why);
    log_.close();
    waiting_ = true;
    retryAt_ = clock_.tickMilliseconds() + kRetryMilliseconds;
}

bool VisitedSitesLog::writeWaiting() {
    if (visits_.size() == 1) {
        if (!insertLogRow(log_, visits_.front().when, visits_.front().address)) return false;
    } else {
        core::Transaction tx(log_);
        if (!tx.active()) return false;
        for (const Visit& v : visits_) {
            if (!insertLogRow(log_, v.when, v.address)) return false;
        }
        if (!tx.commit()) return false;
    }
    visits_.clear();
    lost_ = 0;
    return true;
}

bool VisitedSitesLog::write(const platform::LocalTime& when, std::string_view address) noexcept {
    return platform::guarded(
        [&] {
            if (visits_.size() == kWaitingVisits) {
                // Traced once a spell: the log has refused every try for long.
                if (lost_++ == 0) {
                    platform::recordFailure("visits lost: too many waited for the log", visits_.front().address);
                }
                visits_.pop_front();
            }
            visits_.push_back({when, std::string(address)});
            if (!log_.isOpen()) {
                if (waiting_ && clock_.tickMilliseconds() < retryAt_) return false;
                if (connection() == nullptr) {
                    giveUpForNow("the visited-sites log cannot be opened", opening_.detail());
                    return false;
                }
            }
            if (writeWaiting()) return true;
            giveUpForNow("a visited site was not logged", log_.lastError());
            return false;
        },
        false);
}

}  // namespace ombrix::enforce
