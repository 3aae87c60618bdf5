#include "core/schema.h"

#include <cstdio>
#include <regex>
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

// The order is part of the file's history: keep it.
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

// Rebuilds SitiVietatiConsentiti with Sito declared 255 wide, keeping its
// rows, identifiers, other columns and indexes. All or nothing.
bool widenSiteColumn(Database& db) {
    const std::string create =
        db.scalar("SELECT sql FROM sqlite_master WHERE type = 'table' AND name = 'SitiVietatiConsentiti';").toText();
    if (create.empty()) return false;
    static const std::regex sitoDecl(R"(\bSito(\s+)[A-Za-z]+(\s*\(\s*\d+\s*\))?)", std::regex::icase);
    const std::string widened =
        std::regex_replace(create, sitoDecl, "Sito$1TEXT(" + std::to_string(kSiteWidth) + ")",
                           std::regex_constants::format_first_only);
    if (widened == create) return false;
    Transaction tx(db);
    if (!tx.active()) return false;
    if (!rebuildTable(db, "SitiVietatiConsentiti", widened, [](std::string sql) { return sql; })) return false;
    return tx.commit();
}

// Takes our own collation out of every table and index that still names it.
// All or nothing; true when something changed.
bool dropOwnCollation(Database& db) {
    std::vector<std::pair<std::string, std::string>> tables;
    {
        Statement q = db.prepare("SELECT name, sql FROM sqlite_master WHERE type = 'table' AND sql IS NOT NULL "
                                 "ORDER BY rowid;");
        while (q.step()) {
            std::string sql = q.column(1).toText();
            std::string stripped = withoutOwnCollation(sql);
            if (stripped != sql) tables.emplace_back(q.column(0).toText(), std::move(stripped));
        }
        if (q.failed()) return false;
    }
    std::vector<std::string> indexes;
    {
        Statement q = db.prepare("SELECT name, sql FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL;");
        while (q.step()) {
            const std::string sql = q.column(1).toText();
            if (withoutOwnCollation(sql) != sql) indexes.push_back(q.column(0).toText());
        }
        if (q.failed()) return false;
    }
    if (tables.empty() && indexes.empty()) return false;
    Transaction tx(db);
    if (!tx.active()) return false;
    for (const auto& [table, create] : tables) {
        if (!rebuildTable(db, table, create, withoutOwnCollation)) return false;
    }
    // An index that names the collation on a table that did not.
    for (const auto& name : indexes) {
        const std::string sql =
            db.scalar("SELECT sql FROM sqlite_master WHERE type = 'index' AND name = ?;", {Value(name)}).toText();
        if (sql.empty() || withoutOwnCollation(sql) == sql) continue;
        if (!db.exec("DROP INDEX " + bracketed(name) + ";") || !db.exec(withoutOwnCollation(sql))) return false;
    }
    return tx.commit();
}

void seedTimeSlots(Database& db) {
    if (db.scalar("SELECT count(*) FROM Fasce;").toInteger() == 0) {
        // Without the row the table reads as no time slot set, as an empty one always has.
        (void)db.exec("INSERT INTO Fasce VALUES (NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL);");
    }
}

}  // namespace

bool VerificaEsistenzaCampo(Database& db, std::string_view column, std::string_view table) {
    return anyColumn(db, [&](std::string_view t, std::string_view c) { return t == table && c == column; });
}

bool VerificaEsistenzaTabella(Database& db, std::string_view table) {
    return anyColumn(db, [&](std::string_view t, std::string_view) { return t == table; });
}

int declaredTextWidth(Database& db, std::string_view table, std::string_view column) {
    if (!isPlainIdentifier(table)) return 0;
    const std::string type =
        db.scalar("SELECT type FROM pragma_table_info('" + std::string(table) + "') WHERE name = ?;",
                  {Value(std::string(column))})
            .toText();
    // By hand and bounded: the declaration is the file's text, not ours.
    const std::size_t open = type.find('(');
    if (open == std::string::npos) return 0;
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

bool AggiornaDBAVersioneCorrente(Database& db) {
    if (!db.isOpen()) return false;
    bool changed = false;
    for (const UpgradeStep& step : kSteps) {
        const bool present = step.column ? VerificaEsistenzaCampo(db, step.column, step.table)
                                         : VerificaEsistenzaTabella(db, step.table);
        if (present) continue;
        if (!db.exec(step.statement)) continue;
        changed = true;
        const std::string_view table = step.table;
        if (step.column && std::string_view(step.column) == "Kiosk") {
            // Only a file old enough to lack Kiosk has its site column checked.
            if (declaredTextWidth(db, "SitiVietatiConsentiti", "Sito") != kSiteWidth) widenSiteColumn(db);
        } else if (!step.column && table == "Fasce") {
            seedTimeSlots(db);
        } else if (!step.column && table == "LogSiti") {
            // The index only speeds up reading the log by date.
            (void)db.exec("CREATE INDEX IF NOT EXISTS LogSitiDataOra ON LogSiti (DataOra);");
        }
    }
    if (dropOwnCollation(db)) changed = true;
    return changed;
}

bool createDeliveredDatabase(const std::string& path, std::string* error) {
    auto fail = [&](const std::string& why) {
        if (error) *error = why;
        return false;
    };
    if (fileSize(path) || std::filesystem::exists(pathFromUtf8(path))) return fail("the file exists already");
    const std::string temp = path + ".new";
    std::error_code ec;
    std::filesystem::remove(pathFromUtf8(temp), ec);
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
