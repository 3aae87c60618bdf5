#pragma once
// The visited-sites log's own file, <store folder>/Registro/LogSiti.db. The
// pupil's session writes it, so it lives apart from the store, whose folder
// only administrators may change. Any user may replace the file with one of
// their own: its schema is checked before use, and our connections never run
// what a file's schema holds (see core::Database::open). The log is a record,
// not a defence: a log that cannot be used never stops the enforcement.

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>

#include "core/database.h"
#include "platform/clock.h"
#include "platform/failures.h"
#include "platform/filesystem.h"
#include "support/messages.h"

namespace ombrix::enforce {

// <storeFolder>/Registro and <storeFolder>/Registro/LogSiti.db.
[[nodiscard]] std::string logFolderOf(std::string_view storeFolder, char separator);
[[nodiscard]] std::string logFileOf(std::string_view storeFolder, char separator);

struct LogOpening {
    enum class Outcome { Opened, NotALog, CannotOpen };
    Outcome outcome = Outcome::CannotOpen;
    std::string path;   // the log file
    std::string error;  // the engine's message, or what the file holds that a log does not
    [[nodiscard]] bool ok() const { return outcome == Outcome::Opened; }
    // For a person: not a log, or cannot be opened; none when opened.
    [[nodiscard]] MessageId messageId() const;
    // "<path>: <error>", to follow the message's text.
    [[nodiscard]] std::string detail() const { return path + ": " + error; }
};

// Opens `log` on the log file of `storeFolder`, making the folder, the file,
// the table and its index when missing. A file with no schema yet becomes a
// log holding a copy of the rows of the store's own LogSiti (the log of the
// versions that kept it there), made in the transaction that creates the
// table: a log is filled from the store once. `store` must be open.
[[nodiscard]] LogOpening openLogFile(platform::FileSystem& files, std::string_view storeFolder, char separator,
                                     core::Database& store, core::Database& log);

// The running program's log connection: opened at the first use, kept open,
// shared by the timers and the viewer.
class VisitedSitesLog {
public:
    // A log that cannot be opened or written is tried again after this long.
    static constexpr std::uint64_t kRetryMilliseconds = 30'000;
    // Visits that wait for such a log, at most; beyond, the oldest go.
    static constexpr std::size_t kWaitingVisits = 1000;

    // `storeFolder` is asked at each opening: the store's folder is chosen at start-up.
    VisitedSitesLog(platform::FileSystem& files, platform::Clock& clock, core::Database& store,
                    std::function<std::string()> storeFolder, char separator);

    // The open connection, opened now when it is not; nullptr when the log
    // cannot be opened (opening() says why). For a person, who asked now.
    [[nodiscard]] core::Database* connection();
    [[nodiscard]] const LogOpening& opening() const { return opening_; }

    // Writes one visit, after those still waiting, in one transaction. A log
    // that cannot be opened or written (locked elsewhere, its disk full, the
    // file read-only) is traced, closed and left alone for
    // kRetryMilliseconds: a timer never waits for it, and the visit waits
    // for the next try. Never throws.
    bool write(const platform::LocalTime& when, std::string_view address) noexcept;

private:
    void giveUpForNow(platform::TraceText what, std::string_view why);
    // The waiting visits into the open log, all or none.
    [[nodiscard]] bool writeWaiting();

    struct Visit {
        platform::LocalTime when;
        std::string address;
    };

    platform::FileSystem& files_;
    platform::Clock& clock_;
    core::Database& store_;
    std::function<std::string()> storeFolder_;
    char separator_;
    core::Database log_;
    LogOpening opening_;
    bool waiting_ = false;
    std::uint64_t retryAt_ = 0;
    std::deque<Visit> visits_;  // not yet written, oldest first
    std::size_t lost_ = 0;      // dropped since the log last took them
};

}  // namespace ombrix::enforce
