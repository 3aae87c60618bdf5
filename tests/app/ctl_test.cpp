#include "app/ctl.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include "app/ctl_fixture.h"
#include "core/schema.h"
#include "ombrix_version.h"

namespace ombrix::app {
namespace {

class Ctl : public CtlFixture {
protected:
    Ctl() : CtlFixture("0090=Database non trovato\r\n") {}
};

TEST_F(Ctl, WrongUsageExitsWithTwo) {
    EXPECT_EQ(ctl({}), kUsage);
    EXPECT_EQ(ctl({"frobnicate"}), kUsage);
    EXPECT_NE(err.str().find("unknown command"), std::string::npos);
    EXPECT_EQ(ctl({"--db"}), kUsage);
    EXPECT_EQ(ctl({"--colour", "upgrade"}), kUsage);
    EXPECT_EQ(ctl({"init"}), kUsage);
    EXPECT_EQ(ctl({"init", "a", "b"}), kUsage);
    EXPECT_EQ(ctl({"--db", dir.file("x.db"), "upgrade", "now"}), kUsage);
    EXPECT_EQ(ctl({"--help"}), kOk);
    EXPECT_EQ(ctl({"--version"}), kOk);
    EXPECT_EQ(out.str(), "ombrixctl " OMBRIX_VERSION "\n");
}

TEST_F(Ctl, InitWritesTheEmptyDatabaseOnce) {
    const std::string db = dir.file("nuovo.db");
    EXPECT_EQ(ctl({"init", db}), kOk);
    EXPECT_EQ(ctl({"--db", db, "profiles"}), kOk);
    EXPECT_EQ(out.str(), "1\tNessuna restrizione\n");
    EXPECT_EQ(ctl({"--db", db, "upgrade"}), kOk);
    EXPECT_EQ(out.str(), "up to date\n");

    const auto before = readWholeFile(db);
    EXPECT_EQ(ctl({"init", db}), kRefused);
    EXPECT_EQ(readWholeFile(db), before) << "an existing file is never overwritten";
}

// The upgrade is one transaction: a failed step is named and leaves the file
// as it was; only our own store is upgraded.
TEST_F(Ctl, UpgradeSaysWhatItDidOrWhyNotAndChangesNothingWhenItFails) {
    const std::string oldest(test::oldestSchemaSql());
    const struct {
        const char* name;
        std::string sql;  // empty: an empty file
        int code;
        const char* said;
    } cases[] = {
        {"vecchio", oldest, kOk, "upgraded\n"},
        // An index holding the name makes the LogSiti creation fail.
        {"guasto", oldest + "CREATE TABLE X(y); CREATE INDEX LogSiti ON X(y);", kRefused,
         "0314: The database upgrade failed; the database was not changed: CREATE TABLE LogSiti"},
        {"vuoto", "", kRefused, "0315: The file is not an Ombrix database: "},
        {"altro", "CREATE TABLE Ricette (Nome TEXT); INSERT INTO Ricette VALUES ('pesto');", kRefused,
         "0315: The file is not an Ombrix database: "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = dir.file(std::string(c.name) + ".db");
        test::writeFile(path, "");
        if (!c.sql.empty()) {
            core::Database db;
            ASSERT_TRUE(db.open(path));
            ASSERT_TRUE(db.exec(c.sql));
        }
        const auto before = readWholeFile(path);
        EXPECT_EQ(ctl({"--db", path, "upgrade"}), c.code);
        const std::string said = c.code == kOk ? out.str() : err.str();
        EXPECT_EQ(said.rfind(c.said, 0), 0u) << said;
        if (c.code == kOk) {
            EXPECT_EQ(ctl({"--db", path, "upgrade"}), kOk);
            EXPECT_EQ(out.str(), "up to date\n");
            EXPECT_EQ(ctl({"--db", path, "profiles"}), kOk);
            EXPECT_EQ(out.str(), "1\tScuola\n2\tChiosco\n");
        } else {
            EXPECT_EQ(out.str(), "");
            EXPECT_EQ(readWholeFile(path), before);
        }
    }
}

// A store another writer holds is refused after the wait, not "up to date".
TEST_F(Ctl, UpgradeOfAHeldStoreIsRefused) {
    const std::string path = dir.file("vecchio.db");
    {
        core::Database db;
        ASSERT_TRUE(db.open(path, core::Database::Mode::CreateIfMissing));
        ASSERT_TRUE(db.exec(test::oldestSchemaSql()));
        ASSERT_TRUE(db.exec("BEGIN IMMEDIATE;"));
        EXPECT_EQ(ctl({"--db", path, "upgrade"}), kRefused);
        EXPECT_NE(err.str().find("locked"), std::string::npos) << err.str();
    }
    EXPECT_EQ(ctl({"--db", path, "upgrade"}), kOk);
}

TEST_F(Ctl, InitNeverDeletesAnotherFile) {
    const std::string db = dir.file("nuovo.db");
    test::writeFile(db + ".new", "di qualcun altro");
    EXPECT_EQ(ctl({"init", db}), kRefused);
    EXPECT_EQ(readWholeFile(db + ".new"), "di qualcun altro");
    EXPECT_FALSE(platform::realFileSystem().fileExists(db));
    EXPECT_EQ(ctl({"init", ""}), kUsage);
}

// A registry path that names a folder reads as an empty registry.
TEST_F(Ctl, ARegistryThatIsAFolderIsEmpty) {
    std::optional<platform::FileRegistry> folder;
    EXPECT_NO_THROW(folder.emplace(pathToUtf8(dir.path())));
    EXPECT_FALSE(folder->readValue(platform::RegRoot::LocalMachine, "Software\\Ombrix", "x"));
}

// Without a text in the language file, the English one, never a bare identifier.
TEST_F(Ctl, MessagesFallBackToEnglish) {
    EXPECT_EQ(ctl({"--db", dir.file("x.db"), "log", "show", "--from", "31/02/2024"}), kRefused);
    EXPECT_EQ(err.str(), "0240: Correct the start date and try again. 31/02/2024\n");
}

TEST_F(Ctl, AMissingDatabaseOrAnotherFileIsRefused) {
    EXPECT_EQ(ctl({"--db", dir.file("assente.db"), "profiles"}), kRefused);
    EXPECT_EQ(err.str().rfind("0090: Database non trovato", 0), 0u) << err.str();
    EXPECT_EQ(ctl({"--db", dir.file("assente.db"), "upgrade"}), kRefused);
    EXPECT_FALSE(platform::realFileSystem().fileExists(dir.file("assente.db"))) << "nothing is created";
    test::writeFile(dir.file("testo.db"), std::string(4096, 'j'));
    EXPECT_EQ(ctl({"--db", dir.file("testo.db"), "profiles"}), kRefused);
    EXPECT_NE(err.str().find("cannot open"), std::string::npos);
}

TEST_F(Ctl, WithoutDbTheProgramFoldersDatabaseIsUsed) {
    std::filesystem::create_directories(dir.path() / "DataBase");
    ASSERT_TRUE(core::createDeliveredDatabase(dir.file("DataBase/DataBase.db")));
#ifdef _WIN32
    system.major = 5;  // keep it in the program folder
#endif
    EXPECT_EQ(ctl({"profiles"}), kOk) << err.str();
    EXPECT_EQ(out.str(), "1\tNessuna restrizione\n");
}

}  // namespace
}  // namespace ombrix::app
