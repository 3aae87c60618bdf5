#include "core/schema.h"

#include <cstdio>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "platform/files.h"
#include "platform/text.h"

namespace ombrix::core {
namespace {

struct UpgradeStep {
    const char* table;
    const char* column;  // nullptr: the step adds the table itself
    const char* statement;
};

// Each step appends its column: in this order an upgraded file's tables
// have their columns in the order a new store's have.
constexpr UpgradeStep kSteps[] = {
    {"Profili", "Kiosk", "ALTER TABLE Profili ADD Kiosk Bit"},
    {"Profili", "TastoStartDisabilitato", "ALTER TABLE Profili ADD TastoStartDisabilitato Bit"},
    {"Profili", "UtilizzaBrowserInterno", "ALTER TABLE Profili ADD UtilizzaBrowserInterno Bit"},
    {"Profili", "NascondiMessaggiNotifica", "ALTER TABLE Profili ADD NascondiMessaggiNotifica Bit"},
    {"Opzioni", "LogSiti", "ALTER TABLE Opzioni ADD LogSiti Bit"},
    {"LogSiti", nullptr, "CREATE TABLE LogSiti(DataOra DateTime, URL Text(255))"},
    {"Profili", "ProtezioneMassima", "ALTER TABLE Profili ADD ProtezioneMassima Bit"},
    {"Fasce", nullptr,
     "CREATE TABLE Fasce(Fascia1Dalle DateTime Null, Fascia1Alle DateTime Null, Fascia1Profilo Long Null, "
     "Fascia2Dalle DateTime Null, Fascia2Alle DateTime Null, Fascia2Profilo Long Null, Fascia3Dalle DateTime Null, "
     "Fascia3Alle DateTime Null, Fascia3Profilo Long Null, ProfiloFasceNonDefinite Long Null)"},
    {"Opzioni", "FasceOrarie", "ALTER TABLE Opzioni ADD FasceOrarie Bit"},
    {"Opzioni", "TastieraVirtuale", "ALTER TABLE Opzioni ADD TastieraVirtuale Bit"},
    {"Profili", "ApriPaginaInizialeATuttoSchermo", "ALTER TABLE Profili ADD ApriPaginaInizialeATuttoSchermo Bit"},
    // The internal browser's switches: in the store, where a pupil's account
    // cannot change them.
    {"Opzioni", "NoPopup", "ALTER TABLE Opzioni ADD NoPopup Bit"},
    {"Opzioni", "NoStampa", "ALTER TABLE Opzioni ADD NoStampa Bit"},
    // A profile imported from the file Group Policy names: only a new file
    // changes it, never the editor or ombrixctl.
    {"Profili", "Gestito", "ALTER TABLE Profili ADD Gestito Bit"},
    // The managed files last imported, so that no process imports them again
    // while they stay as they were.
    {"ImportGestito", nullptr,
     "CREATE TABLE ImportGestito(Origine Text, Impronta Text, File Text, Dimensione Long, Modificato Long, SHA256 Text)"},
};

constexpr int kSiteWidth = 255;

// Walks every column of every table, as the provider's column rowset does.
template <typename Match>
bool anyColumn(Database& db, Match match) {
    Statement q = db.prepare(
        "SELECT m.name, p.name FROM sqlite_master AS m JOIN pragma_table_info(m.name) AS p "
        "WHERE m.type IN ('table', 'view') ORDER BY m.name, p.cid;");
    while (q.step()) {
        const std::string table = q.column(0).toText();
        const std::string column = q.column(1).toText();
        if (match(trimBlanks(table), trimBlanks(column))) return true;
    }
    return false;
}

std::string bracketed(std::string_view name) { return "[" + std::string(name) + "]"; }

bool equalsIgnoringAsciiCase(std::string_view a, std::string_view b) { return a.size() == b.size() && equalsNoCase(a, b); }

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v'; }
bool isNameChar(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
}

// The statement without any "COLLATE NOCASE_LATIN" (name quoted or not):
// earlier builds wrote our own collation into the schema, where other SQLite
// tools cannot follow it. One pass, no backtracking, whatever the input.
std::string withoutOwnCollation(std::string_view sql) {
    std::string out;
    out.reserve(sql.size());
    std::size_t i = 0;
    while (i < sql.size()) {
        const bool wordStart = i == 0 || !isNameChar(sql[i - 1]);
        if (wordStart && sql.size() - i >= 7 && equalsIgnoringAsciiCase(sql.substr(i, 7), "COLLATE") &&
            (i + 7 == sql.size() || !isNameChar(sql[i + 7]))) {
            std::size_t j = i + 7;
            while (j < sql.size() && isBlank(sql[j])) ++j;
            char close = 0;
            if (j < sql.size() && (sql[j] == '"' || sql[j] == '`' || sql[j] == '\'' || sql[j] == '[')) {
                close = sql[j] == '[' ? ']' : sql[j];
                ++j;
            }
            std::size_t k = j;
            while (k < sql.size() && isNameChar(sql[k])) ++k;
            if (equalsIgnoringAsciiCase(sql.substr(j, k - j), kTextCollation) &&
                (!close || (k < sql.size() && sql[k] == close))) {
                while (!out.empty() && isBlank(out.back())) out.pop_back();
                i = close ? k + 1 : k;
                continue;
            }
        }
        out.push_back(sql[i++]);
    }
    return out;
}

// Rebuilds a table from a new CREATE statement under the same name, keeping
// its rows, identifiers, indexes (rewritten by `rewrite`) and AUTOINCREMENT
// counter, so that identifiers of deleted rows never come back. Runs inside
// the caller's transaction.
template <typename Rewrite>
bool rebuildTable(Database& db, const std::string& table, const std::string& create, Rewrite rewrite) {
    std::vector<std::string> indexes;
    {
        Statement q = db.prepare("SELECT sql FROM sqlite_master WHERE type = 'index' AND tbl_name = ? AND sql IS NOT NULL;");
        if (!q.valid() || !q.bind(1, Value(table))) return false;
        while (q.step()) indexes.push_back(rewrite(q.column(0).toText()));
        if (q.failed()) return false;
    }
    Value counter;
    if (db.scalar("SELECT count(*) FROM sqlite_master WHERE name = 'sqlite_sequence';").toInteger() > 0) {
        counter = db.scalar("SELECT seq FROM sqlite_sequence WHERE name = ?;", {Value(table)});
    }
    const std::string old = bracketed(table + "_vecchia");
    if (!db.exec("ALTER TABLE " + bracketed(table) + " RENAME TO " + old + ";")) return false;
    if (!db.exec(create)) return false;
    if (!db.exec("INSERT INTO " + bracketed(table) + " SELECT * FROM " + old + ";")) return false;
    if (!db.exec("DROP TABLE " + old + ";")) return false;
    for (const auto& index : indexes) {
        if (!db.exec(index)) return false;
    }
    if (!counter.isEmpty() && !counter.isNull()) {
        if (!db.run("UPDATE sqlite_sequence SET seq = max(seq, ?) WHERE name = ?;", {counter, Value(table)})) return false;
        if (db.changes() == 0 &&
            !db.run("INSERT INTO sqlite_sequence (name, seq) VALUES (?, ?);", {Value(table), counter})) {
            return false;
        }
    }
    return true;
}

bool isAsciiLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// The CREATE statement with Sito's declared type (one word and an optional
// width) replaced by TEXT(255); "" when no declaration of Sito is found. By
// hand, one pass: the statement is the file's text, not ours.
std::string withWideSiteColumn(std::string_view sql) {
    for (std::size_t i = 0; i < sql.size(); ++i) {
        std::size_t nameStart = i;
        char close = 0;
        if (sql[i] == '"' || sql[i] == '`' || sql[i] == '[') {
            close = sql[i] == '[' ? ']' : sql[i];
            nameStart = i + 1;
        } else if (i > 0 && isNameChar(sql[i - 1])) {
            continue;
        }
        if (sql.size() - nameStart < 4 || !equalsIgnoringAsciiCase(sql.substr(nameStart, 4), "Sito")) continue;
        std::size_t nameEnd = nameStart + 4;
        if (close) {
            if (nameEnd >= sql.size() || sql[nameEnd] != close) continue;
            ++nameEnd;
        } else if (nameEnd < sql.size() && isNameChar(sql[nameEnd])) {
            continue;
        }
        // A column definition follows "(" or ",".
        std::size_t before = i;
        while (before > 0 && isBlank(sql[before - 1])) --before;
        if (before == 0 || (sql[before - 1] != '(' && sql[before - 1] != ',')) continue;
        std::size_t type = nameEnd;
        while (type < sql.size() && isBlank(sql[type])) ++type;
        std::size_t end = type;
        while (end < sql.size() && isAsciiLetter(sql[end])) ++end;
        if (end == type) return std::string(sql.substr(0, nameEnd)) + " TEXT(255)" + std::string(sql.substr(nameEnd));
        std::size_t open = end;
        while (open < sql.size() && isBlank(sql[open])) ++open;
        if (open < sql.size() && sql[open] == '(') {
            const std::size_t shut = sql.find(')', open);
            if (shut == std::string_view::npos) return {};
            end = shut + 1;
        }
        return std::string(sql.substr(0, type)) + "TEXT(255)" + std::string(sql.substr(end));
    }
    return {};
}

// Rebuilds SitiVietatiConsentiti with Sito declared 255 wide, keeping its
// rows, identifiers, other columns and indexes. Inside the upgrade's
// transaction.
bool widenSiteColumn(Database& db) {
    const std::string create =
        db.scalar("SELECT sql FROM sqlite_master WHERE type = 'table' AND name = 'SitiVietatiConsentiti';").toText();
    const std::string widened = withWideSiteColumn(create);
    if (widened.empty()) return false;
    return rebuildTable(db, "SitiVietatiConsentiti", widened, [](std::string sql) { return sql; });
}

// What the collation step finds to do.
enum class Done { Nothing, Changed, Failed };

// Takes our own collation out of every table and index that still names it.
// Inside the upgrade's transaction.
Done dropOwnCollation(Database& db) {
    std::vector<std::pair<std::string, std::string>> tables;
    {
        Statement q = db.prepare("SELECT name, sql FROM sqlite_master WHERE type = 'table' AND sql IS NOT NULL "
                                 "ORDER BY rowid;");
        while (q.step()) {
            std::string sql = q.column(1).toText();
            std::string stripped = withoutOwnCollation(sql);
            if (stripped != sql) tables.emplace_back(q.column(0).toText(), std::move(stripped));
        }
        if (!q.valid() || q.failed()) return Done::Failed;
    }
    std::vector<std::string> indexes;
    {
        Statement q = db.prepare("SELECT name, sql FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL;");
        while (q.step()) {
            const std::string sql = q.column(1).toText();
            if (withoutOwnCollation(sql) != sql) indexes.push_back(q.column(0).toText());
        }
        if (!q.valid() || q.failed()) return Done::Failed;
    }
    if (tables.empty() && indexes.empty()) return Done::Nothing;
    for (const auto& [table, create] : tables) {
        if (!rebuildTable(db, table, create, withoutOwnCollation)) return Done::Failed;
    }
    // An index that names the collation on a table that did not.
    for (const auto& name : indexes) {
        const std::string sql =
            db.scalar("SELECT sql FROM sqlite_master WHERE type = 'index' AND name = ?;", {Value(name)}).toText();
        if (sql.empty() || withoutOwnCollation(sql) == sql) continue;
        if (!db.exec("DROP INDEX " + bracketed(name) + ";") || !db.exec(withoutOwnCollation(sql))) {
            return Done::Failed;
        }
    }
    return Done::Changed;
}

// Whether any table or index still names our collation; nullopt when the
// schema cannot be read.
std::optional<bool> namesOwnCollation(Database& db) {
    Statement q = db.prepare("SELECT sql FROM sqlite_master WHERE type IN ('table', 'index') AND sql IS NOT NULL;");
    while (q.step()) {
        const std::string sql = q.column(0).toText();
        if (withoutOwnCollation(sql) != sql) return true;
    }
    if (!q.valid() || q.failed()) return std::nullopt;
    return false;
}

bool seedTimeSlots(Database& db) {
    // The one row the schedule's readers and writers use; all Null, it reads
    // as no time slot set, as an empty table does.
    return db.exec("INSERT INTO Fasce SELECT NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL "
                   "WHERE NOT EXISTS (SELECT 1 FROM Fasce);");
}

// Every table and column name (trimmed, as the provider's column rowset
// gives them) and the declared type of Sito.
struct Structure {
    std::set<std::pair<std::string, std::string>> columns;
    std::set<std::string> tables;
    std::string siteColumnType;
    [[nodiscard]] bool has(const UpgradeStep& step) const {
        return step.column ? columns.count({step.table, step.column}) > 0 : tables.count(step.table) > 0;
    }
};

bool readStructure(Database& db, Structure& out) {
    out = Structure{};
    Statement q = db.prepare(
        "SELECT m.name, p.name, p.type FROM sqlite_master AS m JOIN pragma_table_info(m.name) AS p "
        "WHERE m.type IN ('table', 'view');");
    while (q.step()) {
        std::string table(trimBlanks(q.column(0).toText()));
        std::string column(trimBlanks(q.column(1).toText()));
        if (table == "SitiVietatiConsentiti" && column == "Sito") out.siteColumnType = q.column(2).toText();
        out.tables.insert(table);
        out.columns.emplace(std::move(table), std::move(column));
    }
    return q.valid() && !q.failed();
}

// What a file must hold to be our store: the tables of the delivered
// database that every version had, with the columns the program keys on.
std::string missingBase(const Structure& s) {
    static constexpr std::pair<const char*, const char*> kBase[] = {
        {"Profili", "IDProfilo"},      {"Profili", "SitiProibiti"},           {"Opzioni", "IDProfiloInUso"},
        {"Opzioni", "PasswordAdmin"},  {"SitiVietatiConsentiti", "IDProfilo"}, {"SitiVietatiConsentiti", "Sito"},
        {"ProcessiVietati", "IDProfilo"}, {"ProcessiVietati", "Processo"},    {"NomiFinestreVietate", "IDProfilo"},
        {"NomiFinestreVietate", "NomeFinestra"},
    };
    for (const auto& [table, column] : kBase) {
        if (!s.columns.count({table, column})) return std::string("no column ") + table + "." + column;
    }
    return {};
}


}  // namespace

bool columnExists(Database& db, std::string_view column, std::string_view table) {
    return anyColumn(db, [&](std::string_view t, std::string_view c) { return t == table && c == column; });
}

bool tableExists(Database& db, std::string_view table) {
    return anyColumn(db, [&](std::string_view t, std::string_view) { return t == table; });
}

namespace {

// The width in "TEXT(100)"; 0 when there is none. By hand and bounded: the
// declaration is the file's text, not ours.
int widthOf(std::string_view type) {
    const std::size_t open = type.find('(');
    if (open == std::string_view::npos) return 0;
    std::size_t i = open + 1;
    while (i < type.size() && isBlank(type[i])) ++i;
    long long width = 0;
    bool digits = false;
    for (; i < type.size() && type[i] >= '0' && type[i] <= '9'; ++i) {
        digits = true;
        width = width * 10 + (type[i] - '0');
        if (width > 1'000'000'000) return 0;
    }
    while (i < type.size() && isBlank(type[i])) ++i;
    if (!digits || i >= type.size() || type[i] != ')') return 0;
    return static_cast<int>(width);
}

}  // namespace

int declaredTextWidth(Database& db, std::string_view table, std::string_view column) {
    if (!isPlainIdentifier(table)) return 0;
    return widthOf(db.scalar("SELECT type FROM pragma_table_info('" + std::string(table) + "') WHERE name = ?;",
                             {Value(std::string(column))})
                       .toText());
}

UpgradeResult upgradeToCurrentStructure(Database& db, const CarriedValue& carried) {
    using Outcome = UpgradeResult::Outcome;
    UpgradeResult result;
    auto fail = [&](std::string step) {
        result.outcome = Outcome::Failed;
        result.step = std::move(step);
        result.error = db.isOpen() ? db.lastError() : "the database is not open";
        return result;
    };
    if (!db.isOpen()) return fail("open");
    Structure structure;
    if (!readStructure(db, structure)) return fail("reading the structure");
    if (std::string missing = missingBase(structure); !missing.empty()) {
        result.outcome = Outcome::NotOurStore;
        result.error = std::move(missing);
        return result;
    }
    // A store with nothing to do is not written, so a current one the user
    // may only read still opens.
    auto workLeft = [&](std::optional<bool> collation) {
        for (const UpgradeStep& step : kSteps) {
            if (!structure.has(step)) return true;
        }
        return widthOf(structure.siteColumnType) != kSiteWidth || collation.value_or(true);
    };
    if (!workLeft(namesOwnCollation(db))) return result;

    Transaction tx(db);
    if (!tx.active()) return fail("BEGIN IMMEDIATE");
    // Another writer may have upgraded the file before it was ours to write.
    if (!readStructure(db, structure)) return fail("reading the structure");
    bool changed = false;
    for (const UpgradeStep& step : kSteps) {
        if (structure.has(step)) continue;
        if (!db.exec(step.statement)) return fail(step.statement);
        changed = true;
        const std::string_view table = step.table;
        const bool option = step.column && table == "Opzioni";
        if (const std::optional<Value> value = option && carried ? carried(table, step.column) : std::nullopt;
            value && !db.run("UPDATE Opzioni SET " + std::string(step.column) + " = ?;", {*value})) {
            return fail(std::string("carrying Opzioni.") + step.column + " over");
        }
        if (!step.column && table == "Fasce" && !seedTimeSlots(db)) return fail("INSERT INTO Fasce");
        if (!step.column && table == "LogSiti" &&
            !db.exec("CREATE INDEX IF NOT EXISTS LogSitiDataOra ON LogSiti (DataOra);")) {
            return fail("CREATE INDEX LogSitiDataOra");
        }
    }
    // Its own check, not part of the Kiosk step: a file that gained Kiosk and
    // lost the widening to an earlier failure is widened now.
    if (widthOf(structure.siteColumnType) != kSiteWidth) {
        if (!widenSiteColumn(db)) return fail("widening SitiVietatiConsentiti.Sito to TEXT(255)");
        changed = true;
    }
    switch (dropOwnCollation(db)) {
        case Done::Failed: return fail("removing the collation NOCASE_LATIN from the schema");
        case Done::Changed: changed = true; break;
        case Done::Nothing: break;
    }
    if (!changed) return result;
    if (!tx.commit()) return fail("COMMIT");
    result.outcome = Outcome::Upgraded;
    return result;
}

bool createDeliveredDatabase(const std::string& path, std::string* error) {
    auto fail = [&](const std::string& why) {
        if (error) *error = why;
        return false;
    };
    if (fileSize(path) || std::filesystem::exists(pathFromUtf8(path))) return fail("the file exists already");
    const std::string temp = path + ".new";
    std::error_code ec;
    // Someone else's file, perhaps: never ours to delete.
    if (std::filesystem::exists(pathFromUtf8(temp), ec) || ec) return fail(temp + " exists already; it is left as it is");
    {
        Database db;
        if (!db.open(temp, Database::Mode::CreateIfMissing)) return fail(db.lastError());
        Transaction tx(db);
        if (!tx.active() || !db.exec(deliveredSchemaSql()) || !tx.commit()) {
            const std::string why = db.lastError();
            db.close();
            std::filesystem::remove(pathFromUtf8(temp), ec);
            return fail(why);
        }
    }
    std::filesystem::rename(pathFromUtf8(temp), pathFromUtf8(path), ec);
    if (ec) {
        std::filesystem::remove(pathFromUtf8(temp), ec);
        return fail("cannot write the file");
    }
    return true;
}

}  // namespace ombrix::core
