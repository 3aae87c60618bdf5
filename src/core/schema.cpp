#include "core/schema.h"

#include <cstdio>
#include <regex>
#include <vector>

#include "support/files.h"
#include "support/text.h"

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
    std::vector<std::string> indexes;
    {
        Statement q = db.prepare(
            "SELECT sql FROM sqlite_master WHERE type = 'index' AND tbl_name = 'SitiVietatiConsentiti' "
            "AND sql IS NOT NULL;");
        while (q.step()) indexes.push_back(q.column(0).toText());
    }
    const std::string renamed =
        std::regex_replace(widened, std::regex(R"(\bSitiVietatiConsentiti\b)"), "SitiVietatiConsentiti_nuova",
                           std::regex_constants::format_first_only);
    Transaction tx(db);
    if (!tx.active()) return false;
    if (!db.exec(renamed)) return false;
    if (!db.exec("INSERT INTO SitiVietatiConsentiti_nuova SELECT * FROM SitiVietatiConsentiti;")) return false;
    if (!db.exec("DROP TABLE SitiVietatiConsentiti;")) return false;
    if (!db.exec("ALTER TABLE SitiVietatiConsentiti_nuova RENAME TO SitiVietatiConsentiti;")) return false;
    for (const auto& index : indexes) {
        if (!db.exec(index)) return false;
    }
    return tx.commit();
}

void seedTimeSlots(Database& db) {
    if (db.scalar("SELECT count(*) FROM Fasce;").toInteger() == 0) {
        db.exec("INSERT INTO Fasce VALUES (NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL);");
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
    std::smatch m;
    static const std::regex width(R"(\(\s*(\d+)\s*\))");
    if (!std::regex_search(type, m, width)) return 0;
    return std::stoi(m[1].str());
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
            db.exec("CREATE INDEX IF NOT EXISTS LogSitiDataOra ON LogSiti (DataOra);");
        }
    }
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
