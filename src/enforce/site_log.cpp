#include "enforce/site_log.h"

#include <cstdio>

#include "core/store.h"
#include "enforce/site_rules.h"
#include "support/language.h"
#include "platform/text.h"
#include "support/messages.h"

namespace ombrix::enforce {
namespace {

bool leapYear(int y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

int daysInMonth(int y, int m) {
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && leapYear(y) ? 29 : kDays[m - 1];
}

// Digits only, 1 to `maxDigits` of them (exactly `maxDigits` when `exact`).
std::optional<int> number(std::string_view s, std::size_t maxDigits, bool exact) {
    if (s.empty() || s.size() > maxDigits || (exact && s.size() != maxDigits)) return std::nullopt;
    int v = 0;
    for (const char c : s) {
        if (c < '0' || c > '9') return std::nullopt;
        v = v * 10 + (c - '0');
    }
    return v;
}

enum class DateProblem { None, Empty, Form, NoSuchDay };

DateProblem examine(std::string_view text, LogDate* out) {
    const std::string_view t = trimBlanks(text);
    if (t.empty()) return DateProblem::Empty;
    const std::size_t a = t.find('/');
    const std::size_t b = a == std::string_view::npos ? a : t.find('/', a + 1);
    if (b == std::string_view::npos || t.find('/', b + 1) != std::string_view::npos) return DateProblem::Form;
    const auto d = number(t.substr(0, a), 2, false);
    const auto m = number(t.substr(a + 1, b - a - 1), 2, false);
    const auto y = number(t.substr(b + 1), 4, true);
    if (!d || !m || !y) return DateProblem::Form;
    if (*y < 1000 || *y > 9998 || *m < 1 || *m > 12 || *d < 1 || *d > daysInMonth(*y, *m)) {
        return DateProblem::NoSuchDay;
    }
    if (out) *out = {*y, *m, *d};
    return DateProblem::None;
}

std::string isoDay(const LogDate& d) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d 00:00:00", d.year, d.month, d.day);
    return buf;
}

std::string joinLines(Language& language, std::initializer_list<MessageId> ids) {
    std::string out;
    for (const MessageId id : ids) {
        if (!out.empty()) out += "\r\n";
        out += language.messageText(id);
    }
    return out;
}

}  // namespace

std::string storeDateTime(const platform::LocalTime& t) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", t.year, t.month, t.day, t.hour, t.minute, t.second);
    return buf;
}

std::string loggedUrl(std::string_view address) {
    const std::string doubled = replaceAll(address, "'", "''");
    const std::string_view cut = leftCharacters(doubled, kLogUrlWidth);
    std::string out;
    out.reserve(cut.size());
    for (std::size_t i = 0; i < cut.size(); ++i) {
        if (cut[i] != '\'') {
            out += cut[i];
        } else if (i + 1 < cut.size()) {
            out += '\'';
            ++i;  // the pair stands for one apostrophe
        }
    }
    return out;
}

bool insertLogRow(core::Database& db, const platform::LocalTime& when, std::string_view address) {
    return db.run("INSERT INTO LogSiti (DataOra, URL) VALUES (?, ?);",
                  {core::Value(storeDateTime(when)), core::Value(loggedUrl(address))});
}

std::optional<LogDate> parseLogDate(std::string_view text) {
    LogDate d;
    if (examine(text, &d) != DateProblem::None) return std::nullopt;
    return d;
}

std::string displayLogDate(const LogDate& date) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%02d/%02d/%04d", date.day, date.month, date.year);
    return buf;
}

LogDate nextDay(const LogDate& date) {
    LogDate n = date;
    if (++n.day > daysInMonth(n.year, n.month)) {
        n.day = 1;
        if (++n.month > 12) {
            n.month = 1;
            ++n.year;
        }
    }
    return n;
}

LogDate logDateOf(const platform::LocalTime& t) { return {t.year, t.month, t.day}; }

MessageId checkLogDateField(std::string_view text, bool isTo) {
    switch (examine(text, nullptr)) {
        case DateProblem::None:
            return {};
        case DateProblem::Empty:
            return isTo ? msg::EndDateInvalid : msg::StartDateInvalid;
        case DateProblem::Form:
            return isTo ? msg::EndDateHowToWrite : msg::StartDateHowToWrite;
        case DateProblem::NoSuchDay:
            break;
    }
    return isTo ? msg::EndDateCorrectAndRetry : msg::StartDateCorrectAndRetry;
}

LogRangeCheck checkLogRange(std::string_view from, std::string_view to) {
    LogRangeCheck r;
    if ((r.message = checkLogDateField(from, false))) return r;
    if ((r.message = checkLogDateField(to, true))) return r;
    r.from = *parseLogDate(from);
    r.to = *parseLogDate(to);
    return r;
}

std::optional<std::vector<LogRow>> readLog(core::Database& db, const std::optional<LogDate>& from,
                                           const std::optional<LogDate>& to) {
    // Up to the start of the day after "to", that moment included: the whole
    // "to" day is shown, and a visit logged at midnight exactly as well.
    std::string sql = "SELECT LogSiti.DataOra, LogSiti.URL FROM LogSiti";
    std::vector<core::Value> params;
    if (from || to) {
        sql += " WHERE LogSiti.DataOra BETWEEN ? AND ?";
        params.emplace_back(from ? isoDay(*from) : std::string("0000-00-00 00:00:00"));
        params.emplace_back(to ? isoDay(nextDay(*to)) : std::string("9999-12-31 23:59:59"));
    }
    sql += " ORDER BY LogSiti.DataOra DESC, LogSiti.rowid DESC;";
    core::Statement q = db.prepare(sql);
    if (!q.valid() || !q.bindAll(params)) return std::nullopt;
    std::vector<LogRow> rows;
    while (q.step()) {
        rows.push_back({core::valueOrDefault(q.column(0)).toText(), core::valueOrDefault(q.column(1)).toText()});
    }
    if (q.failed()) return std::nullopt;
    return rows;
}

bool clearLog(core::Database& db) { return db.run("DELETE FROM LogSiti;"); }

bool writeLogSwitch(core::Database& db, bool on) {
    return core::UpdateField(db, "Opzioni", "LogSiti", core::Value::boolean(on), core::kOptionsRow);
}

std::string logSwitchQuestion(Language& language) {
    return joinLines(language, {msg::LogSwitchChanging, msg::LogSwitchKeepsEveryAddress,
                                msg::LogNeverKeepsForbiddenSites, msg::LogSwitchContinue});
}

std::string clearLogQuestion(Language& language) {
    return joinLines(language, {msg::LogClearDeletesAll, msg::LogClearCannotBeUndone, msg::LogClearQuestion});
}

std::vector<std::string> logListHeadings(Language& language) {
    return {language.messageText(msg::LogDateTimeHeading), language.messageText(msg::LogAddressHeading)};
}

}  // namespace ombrix::enforce
