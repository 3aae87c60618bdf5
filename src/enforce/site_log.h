#pragma once
// The visited-sites log (table LogSiti, in the log's own file: see
// log_file.h) and the rules of its viewer. Dates are kept as ISO-8601 text "YYYY-MM-DD HH:MM:SS", which sorts
// as time does; the viewer shows and takes dates as "dd/mm/yyyy".

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/database.h"
#include "platform/clock.h"
#include "support/messages.h"

namespace ombrix {
class Language;
}

namespace ombrix::enforce {

// LogSiti.URL is 255 characters wide.
inline constexpr std::size_t kLogUrlWidth = 255;

// "YYYY-MM-DD HH:MM:SS".
[[nodiscard]] std::string storeDateTime(const platform::LocalTime& t);

// The address as it is stored: at most 255 characters, each apostrophe
// counting as two, so that an address is stored as the rows already in the
// log hold it; an apostrophe whose pair the cut split is left out.
[[nodiscard]] std::string loggedUrl(std::string_view address);

// Writes one row; false when the store refused it.
bool insertLogRow(core::Database& db, const platform::LocalTime& when, std::string_view address);

struct LogDate {
    int year = 0, month = 0, day = 0;
    friend bool operator==(const LogDate&, const LogDate&) = default;
};

// "dd/mm/yyyy" (one or two digits for day and month, four for the year,
// blanks around ignored); nullopt when the text is not such a date or the day
// does not exist. Years run from 1000 to 9998, so the day after stays a date.
[[nodiscard]] std::optional<LogDate> parseLogDate(std::string_view text);
[[nodiscard]] std::string displayLogDate(const LogDate& date);
[[nodiscard]] LogDate nextDay(const LogDate& date);
[[nodiscard]] LogDate logDateOf(const platform::LocalTime& t);

// The viewer's check of its two fields. Each field is reported with its own
// messages: empty, not written as dd/mm/yyyy, a day that does not exist or a
// year out of range.
struct LogRangeCheck {
    MessageId message;  // the first failing field's message; none: both dates valid
    LogDate from, to;
};
[[nodiscard]] LogRangeCheck checkLogRange(std::string_view from, std::string_view to);
// The message for one field alone (as above), none when it holds a date.
[[nodiscard]] MessageId checkLogDateField(std::string_view text, bool isTo);

struct LogRow {
    std::string dateTime;  // as stored
    std::string url;
};

// The rows from the start of `from` up to and including midnight at the end
// of `to` (an absent bound is open), newest first. nullopt when the store
// cannot be read.
[[nodiscard]] std::optional<std::vector<LogRow>> readLog(core::Database& db, const std::optional<LogDate>& from,
                                                         const std::optional<LogDate>& to);

// Empties the log; false when the store refused.
bool clearLog(core::Database& db);
// Writes Opzioni.LogSiti, in the store.
bool writeLogSwitch(core::Database& db, bool on);

// The viewer's questions: switching the log and emptying it, a message a line.
[[nodiscard]] std::string logSwitchQuestion(Language& language);
[[nodiscard]] std::string clearLogQuestion(Language& language);
// The result list's two column headings.
[[nodiscard]] std::vector<std::string> logListHeadings(Language& language);

}  // namespace ombrix::enforce
