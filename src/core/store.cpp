#include "core/store.h"

#include <array>

#include "support/language.h"
#include "support/messages.h"

namespace ombrix::core {
namespace {

std::string bracketed(std::string_view name) { return "[" + std::string(name) + "]"; }

constexpr std::array<ListTable, 3> kLists = {{
    {ListKind::Processes, "ProcessiVietati", "IDProcesso", "Processo", msg::ProcessAlreadyListed, msg::ProcessHeading},
    {ListKind::WindowTitles, "NomiFinestreVietate", "IDNomeFinestra", "NomeFinestra", msg::WindowAlreadyListed,
     msg::WindowTitleHeading},
    {ListKind::Sites, "SitiVietatiConsentiti", "IDSito", "Sito", msg::SiteAlreadyListed, msg::SiteHeading},
}};

}  // namespace

Value ReadField(Database& db, std::string_view table, std::string_view column, const std::optional<Condition>& where) {
    if (!isPlainIdentifier(table) || !isPlainIdentifier(column)) return Value();
    std::string sql = "SELECT (" + bracketed(column) + ") FROM " + bracketed(table);
    if (where) sql += " WHERE " + where->sql;
    // Store order: the first row is the first one written.
    sql += " ORDER BY rowid LIMIT 1;";
    return db.scalar(sql, where ? where->params : std::vector<Value>{});
}

bool UpdateField(Database& db, std::string_view table, std::string_view column, const Value& value,
                 const Condition& where) {
    if (!isPlainIdentifier(table) || !isPlainIdentifier(column)) return false;
    const std::string t = bracketed(table);
    const Value rowid = db.scalar("SELECT rowid FROM " + t + " WHERE " + where.sql + " ORDER BY rowid LIMIT 1;",
                                  where.params);
    if (rowid.isEmpty()) return false;
    if (!db.run("UPDATE " + t + " SET " + bracketed(column) + " = ? WHERE rowid = ?;", {value, rowid})) return false;
    return db.changes() == 1;
}

std::string nextFreeId(Database& db, std::string_view table, std::string_view column, std::string_view prefix,
                     long long start, int width) {
    if (!isPlainIdentifier(table) || !isPlainIdentifier(column)) return {};
    const Value rows = db.scalar("SELECT count(*) FROM " + bracketed(table) + ";");
    if (rows.isEmpty()) return {};
    long long candidate = rows.toInteger() == 0 ? start : rows.toInteger() + start;
    auto build = [&](long long n) {
        std::string number = std::to_string(n);
        std::string id(prefix);
        const long long pad = static_cast<long long>(width) - static_cast<long long>(id.size() + number.size());
        if (pad > 0) id.append(static_cast<std::size_t>(pad), '0');
        return id + number;
    };
    Statement taken = db.prepare("SELECT 1 FROM " + bracketed(table) + " WHERE " + bracketed(column) + OMBRIX_TEXT_EQUALS " LIMIT 1;");
    if (!taken.valid()) return {};
    while (true) {
        const std::string id = build(candidate);
        taken.reset();
        taken.bind(1, Value(id));
        const bool exists = taken.step();
        if (taken.failed()) return {};
        if (!exists) return id;
        ++candidate;
    }
}

const ListTable& listTable(ListKind kind) { return kLists[static_cast<std::size_t>(kind)]; }

InsertResult insertListEntry(Database& db, ListKind kind, long long profileId, std::string_view value) {
    if (value.empty()) return InsertResult::EmptyValue;
    const ListTable& t = listTable(kind);
    const std::string v(value);
    const std::string find = std::string("SELECT ") + t.idColumn + " FROM " + t.table + " WHERE " + t.valueColumn +
                             OMBRIX_TEXT_EQUALS " AND IDProfilo = ? LIMIT 1;";
    Statement test = db.prepare(find);
    if (!test.valid() || !test.bindAll({Value(v), Value(static_cast<std::int64_t>(profileId))})) {
        return InsertResult::Failed;
    }
    if (test.step()) return InsertResult::Duplicate;
    if (test.failed()) return InsertResult::Failed;
    const std::string insert =
        std::string("INSERT INTO ") + t.table + " (" + t.valueColumn + ", IDProfilo) VALUES (?, ?);";
    return db.run(insert, {Value(v), Value(static_cast<std::int64_t>(profileId))}) ? InsertResult::Inserted
                                                                                     : InsertResult::Failed;
}

InsertResult insertForbiddenProcessSilently(Database& db, long long profileId, std::string_view value) {
    return insertListEntry(db, ListKind::Processes, profileId, value);
}
InsertResult insertForbiddenWindowSilently(Database& db, long long profileId, std::string_view value) {
    return insertListEntry(db, ListKind::WindowTitles, profileId, value);
}
InsertResult insertSiteSilently(Database& db, long long profileId, std::string_view value) {
    return insertListEntry(db, ListKind::Sites, profileId, value);
}

std::vector<ListRow> loadListRows(Database& db, ListKind kind, long long profileId) {
    const ListTable& t = listTable(kind);
    std::vector<ListRow> rows;
    Statement q = db.prepare(std::string("SELECT ") + t.valueColumn + ", " + t.idColumn + " FROM " + t.table +
                             " WHERE IDProfilo = ? ORDER BY rowid;");
    if (!q.valid() || !q.bind(1, Value(static_cast<std::int64_t>(profileId)))) return rows;
    while (q.step()) {
        const long long id = q.column(1).toInteger();
        rows.push_back({valueOrDefault(q.column(0)).toText(), "_" + std::to_string(id), id});
    }
    return rows;
}

}  // namespace ombrix::core

namespace ombrix::core {

InsertResult insertListEntryInteractive(Database& db, platform::Dialogs& dialogs, Language& language, ListKind kind,
                                        long long profileId, std::string_view value,
                                        const std::function<void()>& reload) {
    const InsertResult result = insertListEntry(db, kind, profileId, value);
    if (result == InsertResult::Inserted) {
        if (reload) reload();
    } else if (result == InsertResult::Duplicate) {
        const MessageId id = listTable(kind).duplicateMessage;
        dialogs.messageBox({id, language.messageText(id), "Ombrix", platform::MessageIcon::Exclamation,
                            platform::MessageButtons::Ok});
    }
    return result;
}

}  // namespace ombrix::core
