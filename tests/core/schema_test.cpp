#include "core/schema.h"
#include <gtest/gtest.h>
#include <sqlite3.h>
#include "core/store.h"
#include "fakes/fixtures.h"

namespace ombrix::core {
namespace {
std::vector<std::string> columnsOf(Database& db, const std::string& table) {
    std::vector<std::string> names;
    Statement q = db.prepare("SELECT name FROM pragma_table_info('" + table + "') ORDER BY cid;");
    while (q.step()) names.push_back(q.column(0).toText());
    return names;
}

// Every column and table the upgrade adds, in its order, and Sito widened.
void expectCurrent(Database& db) {
    EXPECT_EQ(columnsOf(db, "Profili"),
              (std::vector<std::string>{"IDProfilo", "Profilo", "StampantePredefinita", "PaginaPredefinita",
                                        "BloccaDownload", "SitiProibiti", "Kiosk", "TastoStartDisabilitato",
                                        "UtilizzaBrowserInterno", "NascondiMessaggiNotifica", "ProtezioneMassima",
                                        "ApriPaginaInizialeATuttoSchermo", "Gestito"}));
    EXPECT_EQ(columnsOf(db, "Opzioni"), (std::vector<std::string>{"IDProfiloInUso", "PasswordAdmin", "LogSiti",
                                                                   "FasceOrarie", "TastieraVirtuale", "NoPopup",
                                                                   "NoStampa"}));
    EXPECT_EQ(columnsOf(db, "LogSiti"), (std::vector<std::string>{"DataOra", "URL"}));
    EXPECT_EQ(columnsOf(db, "Fasce").size(), 10u);
    EXPECT_TRUE(tableExists(db, "ImportGestito") && columnExists(db, "Gestito", "Profili"));
    EXPECT_EQ(declaredTextWidth(db, "SitiVietatiConsentiti", "Sito"), 255);
}

TEST(Upgrade, OldestFileGainsEverythingInOrderAndKeepsItsRows) {
    Database db = test::oldestStore();
    EXPECT_FALSE(columnExists(db, "sito", "SitiVietatiConsentiti") || tableExists(db, "clienti")) << "names compare exactly";
    ASSERT_TRUE(upgradeToCurrentStructure(db).changed());
    expectCurrent(db);
    // The Fasce row is all Null; old rows read the new switches as false.
    EXPECT_TRUE(ReadField(db, "Fasce", "ProfiloFasceNonDefinite").isNull() &&
                ReadField(db, "Profili", "Kiosk", Condition{"IDProfilo = ?", {1}}).isNull());

    // The widened table keeps rows, identifiers, order, text comparison and its index.
    const auto sites = loadListRows(db, ListKind::Sites, 1);
    ASSERT_EQ(sites.size(), 2u);
    EXPECT_EQ(sites[0].key + " " + sites[1].text, "_1 l'apostrofo.it");
    EXPECT_EQ(insertListEntry(db, ListKind::Sites, 1, ".EXAMPLE.COM"), InsertResult::Duplicate);
    EXPECT_EQ(insertListEntry(db, ListKind::Sites, 1, std::string(255, 'a')), InsertResult::Inserted);
    EXPECT_EQ(loadListRows(db, ListKind::Sites, 1).back().id, 4) << "identifiers keep counting";
    EXPECT_EQ(db.scalar("SELECT count(*) FROM sqlite_master WHERE name = 'SitiVietatiConsentitiProfilo';").toInteger(), 1);
}

// A current file is not written: it opens while another process holds the write lock.
TEST(Upgrade, DeliveredDatabaseIsCurrentEnforcesNothingAndIsNotWritten) {
    test::TempDir dir;
    ASSERT_TRUE(createDeliveredDatabase(dir.file("d.db")));
    Database db, writer;
    ASSERT_TRUE(db.open(dir.file("d.db")) && writer.open(dir.file("d.db")));
    ASSERT_TRUE(writer.exec("BEGIN IMMEDIATE;"));
    db.setBusyTimeout(0);
    EXPECT_EQ(upgradeToCurrentStructure(db).outcome, UpgradeResult::Outcome::UpToDate) << db.lastError();
    expectCurrent(db);
    // One profile, named by the options row: an empty forbidden list, every switch off, no list rows.
    EXPECT_EQ(db.scalar("SELECT 10 * count(*) + (SELECT count(*) FROM Profili) + (SELECT count(*) FROM ProcessiVietati) + "
                        "(SELECT count(*) FROM NomiFinestreVietate) + (SELECT count(*) FROM SitiVietatiConsentiti) "
                        "FROM Profili JOIN Opzioni ON IDProfilo = IDProfiloInUso WHERE SitiProibiti AND NOT "
                        "(BloccaDownload OR Kiosk OR TastoStartDisabilitato OR UtilizzaBrowserInterno OR "
                        "NascondiMessaggiNotifica OR ProtezioneMassima OR ApriPaginaInizialeATuttoSchermo);")
                  .toInteger(),
              11);
}

// From every state in between: each later step is added once, and Sito is
// widened by its own check, so a file that gained Kiosk without the widening
// gets it too. A Fasce table made before this run is not seeded again.
TEST(Upgrade, FromEveryIntermediateState) {
    std::vector<std::string> statements;  // each step as the upgrade adds it, in its order
    for (const char* added : {"Profili Kiosk", "Profili TastoStartDisabilitato", "Profili UtilizzaBrowserInterno",
                              "Profili NascondiMessaggiNotifica", "Opzioni LogSiti", "", "Profili ProtezioneMassima", "",
                              "Opzioni FasceOrarie", "Opzioni TastieraVirtuale", "Profili ApriPaginaInizialeATuttoSchermo",
                              "Opzioni NoPopup", "Opzioni NoStampa", "Profili Gestito"}) {
        std::string step = std::string("ALTER TABLE ") + added + " Bit";
        statements.push_back(step.replace(step.find(' ', 12), 1, " ADD "));
    }
    statements[5] = "CREATE TABLE LogSiti(DataOra DateTime, URL Text(255))";
    statements[7] = "CREATE TABLE Fasce(Fascia1Dalle DateTime Null, Fascia1Alle DateTime Null, Fascia1Profilo Long Null, "
                    "Fascia2Dalle DateTime Null, Fascia2Alle DateTime Null, Fascia2Profilo Long Null, Fascia3Dalle "
                    "DateTime Null, Fascia3Alle DateTime Null, Fascia3Profilo Long Null, ProfiloFasceNonDefinite Long Null)";
    for (int done = 0; done <= 14; ++done) {
        SCOPED_TRACE("steps already present: " + std::to_string(done));
        Database db = test::oldestStore();
        for (int i = 0; i < done; ++i) ASSERT_TRUE(db.exec(statements[i]));
        // The oldest file names the old collation: there is always work.
        EXPECT_TRUE(upgradeToCurrentStructure(db).changed());
        expectCurrent(db);
        EXPECT_EQ(db.scalar("SELECT count(*) FROM Fasce;").toInteger(), done >= 8 ? 0 : 1);
        EXPECT_FALSE(upgradeToCurrentStructure(db).changed());
    }
}

TEST(Upgrade, AFailedStepIsNamedAndUndoesEveryStep) {
    Database db = test::oldestStore();
    // An index that holds the name makes the LogSiti creation fail.
    ASSERT_TRUE(db.exec("CREATE TABLE X(y); CREATE INDEX LogSiti ON X(y);"));
    const UpgradeResult failed = upgradeToCurrentStructure(db);
    EXPECT_TRUE(failed.outcome == UpgradeResult::Outcome::Failed &&
                failed.step == "CREATE TABLE LogSiti(DataOra DateTime, URL Text(255))");
    EXPECT_NE(failed.error.find("LogSiti"), std::string::npos) << failed.error;
    EXPECT_FALSE(columnExists(db, "Kiosk", "Profili")) << "the steps before it are undone";
    EXPECT_EQ(declaredTextWidth(db, "SitiVietatiConsentiti", "Sito"), 100);
    EXPECT_TRUE(db.exec("DROP INDEX LogSiti;") && upgradeToCurrentStructure(db).changed() && tableExists(db, "LogSiti"));
}

// Declarations written by hand or by a hostile tool: the width is read and
// the column rebuilt without exceptions, deep recursion or lost rows.
TEST(Upgrade, OddSiteDeclarationsAreWidened) {
    const std::string blanks(40000, ' '), ids = "IDSito INTEGER PRIMARY KEY AUTOINCREMENT, IDProfilo INTEGER";
    const std::string declarations[] = {
        "Sito TEXT(99999999999)", "Sito TEXT(" + blanks + "100" + blanks + ")", "Sito" + blanks + "TEXT(100)",
        "[Sito] varchar(100)",    "\"Sito\" TEXT",                            "Sito",
        "Sito CHAR ( 80 ) NOT NULL DEFAULT ''",
        // Columns of four letters around it, as another tool might add.
        "Nota TEXT(255), Sito TEXT(100), Memo TEXT(255)",
        // The first column, right after the parenthesis.
        "Sito TEXT(100), " + ids,
    };
    for (const std::string& declaration : declarations) {
        SCOPED_TRACE(declaration.substr(0, 40));
        std::string sql(test::oldestSchemaSql());
        const std::string old = ids + ", Sito TEXT(100) COLLATE NOCASE_LATIN";
        sql.replace(sql.find(old), old.size(), declaration.ends_with(ids) ? declaration : ids + ", " + declaration);
        Database db;
        ASSERT_TRUE(db.open(":memory:") && db.exec(sql));
        ASSERT_TRUE(db.exec("ALTER TABLE Profili ADD Kiosk Bit;")) << "the widening is its own check";
        const UpgradeResult r = upgradeToCurrentStructure(db);
        ASSERT_EQ(r.outcome, UpgradeResult::Outcome::Upgraded) << r.step << ": " << r.error;
        EXPECT_EQ(declaredTextWidth(db, "SitiVietatiConsentiti", "Sito"), 255);
        EXPECT_EQ(loadListRows(db, ListKind::Sites, 1).size(), 2u);
    }
}

// Any SQLite tool opens the delivered file, the oldest one upgraded and one that named our collation, quoted.
TEST(PlainSqlite, ChangesEveryTableOfDeliveredAndUpgradedFiles) {
    test::TempDir dir;
    std::string collated(deliveredSchemaSql());
    for (const char* column : {"Profilo TEXT(255)", "Processo TEXT(255)", "NomeFinestra TEXT(255)", "Sito TEXT(255)"}) {
        const auto at = collated.find(column);
        ASSERT_NE(at, std::string::npos) << column;
        collated.insert(at + std::string_view(column).size(), " COLLATE \"nocase_latin\"");
    }
    collated += "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (1, '.example.com'), (1, '*gioco');";
    ASSERT_TRUE(createDeliveredDatabase(dir.file("delivered.db")));
    for (const auto& [name, sql] : {std::pair{"oldest.db", std::string(test::oldestSchemaSql())}, {"collated.db", collated}}) {
        Database db;
        ASSERT_TRUE(db.open(dir.file(name), Database::Mode::CreateIfMissing));
        ASSERT_TRUE(db.exec(sql));
        ASSERT_TRUE(db.exec("DELETE FROM SitiVietatiConsentiti WHERE Sito = '*gioco';")) << "a deleted identifier";
        ASSERT_TRUE(upgradeToCurrentStructure(db).changed());
        EXPECT_EQ(db.scalar("SELECT count(*) FROM sqlite_master WHERE sql LIKE '%nocase_latin%';").toInteger(), 0);
        EXPECT_EQ(insertListEntry(db, ListKind::Sites, 1, ".EXAMPLE.com"), InsertResult::Duplicate);
        ASSERT_EQ(insertListEntry(db, ListKind::Sites, 1, ".nuovo.it"), InsertResult::Inserted);
        EXPECT_EQ(loadListRows(db, ListKind::Sites, 1).back().id, name[0] == 'o' ? 4 : 3) << "never a deleted one";
    }
    for (const char* file : {"delivered.db", "oldest.db", "collated.db"}) {
        sqlite3* raw = nullptr;
        ASSERT_EQ(sqlite3_open_v2(dir.file(file).c_str(), &raw, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
        for (const char* sql : {"INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti) VALUES (9, 'Città', -1)",
                                "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (9, '.example.org')",
                                "UPDATE ProcessiVietati SET Processo = 'giochi.exe' WHERE Processo = 'gioco.exe'",
                                "DELETE FROM Profili", "PRAGMA integrity_check"}) {
            // A row other than "ok" from the integrity check aborts.
            const auto okOnly = [](void*, int, char** v, char**) { return v[0] && std::string_view(v[0]) == "ok" ? 0 : 1; };
            EXPECT_EQ(sqlite3_exec(raw, sql, okOnly, nullptr, nullptr), SQLITE_OK) << file << ": " << sqlite3_errmsg(raw);
        }
        sqlite3_close(raw);
    }
}
}  // namespace
}  // namespace ombrix::core
