#include "app/ctl.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "app/ctl_fixture.h"
#include "app/ctl_session.h"
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
    EXPECT_EQ(ctl({"init", db}), kOk);
    EXPECT_EQ(run({"profiles"}), kOk);
    EXPECT_EQ(out.str(), "1\tNessuna restrizione\n");
    EXPECT_EQ(run({"upgrade"}), kOk);
    EXPECT_EQ(out.str(), "up to date\n");

    const auto before = readWholeFile(db);
    EXPECT_EQ(ctl({"init", db}), kRefused);
    EXPECT_EQ(readWholeFile(db), before) << "an existing file is never overwritten";
}

// A write that went through is copied beside the store (what a lost store
// falls back on); a read makes no copy.
TEST_F(Ctl, AWriteKeepsTheStoresCopy) {
    const std::string copy = dir.file("DataBase.copia.db");
    ASSERT_EQ(ctl({"init", db}), kOk);
    EXPECT_EQ(run({"profiles"}), kOk);
    EXPECT_FALSE(std::filesystem::exists(copy));
    const auto copied = [&] {
        core::Database d;
        return d.open(copy, core::Database::Mode::ReadOnly)
                   ? d.scalar("SELECT group_concat(Processo) FROM ProcessiVietati;").toText()
                   : std::string("<no copy>");
    };
    test::writeFile(copy, "no database");  // a damaged copy is made anew
    EXPECT_EQ(run({"process", "add", "#1", "gioco.exe"}), kOk);
    EXPECT_EQ(copied(), "gioco.exe");
    EXPECT_EQ(run({"process", "add", "#1", "chat.exe"}), kOk);
    EXPECT_EQ(copied(), "gioco.exe,chat.exe");
    EXPECT_EQ(err.str(), "");
}

// The upgrade's own refusals are the store's (tests/core/schema_test.cpp):
// here, what the command says of them, and that it writes nothing.
TEST_F(Ctl, UpgradeSaysWhatItDidOrWhyNotAndChangesNothingWhenItFails) {
    const std::string oldest(test::oldestSchemaSql());
    const struct {
        const char* name;
        std::string sql;
        int code;
        const char* said;
    } cases[] = {
        {"vecchio", oldest, kOk, "upgraded\n"},
        // An index holding the name makes the LogSiti creation fail.
        {"guasto", oldest + "CREATE TABLE X(y); CREATE INDEX LogSiti ON X(y);", kRefused,
         "0314: The database upgrade failed; the database was not changed: CREATE TABLE LogSiti"},
        {"altro", "CREATE TABLE Ricette (Nome TEXT);", kRefused, "0315: The file is not an Ombrix database: "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = dir.file(std::string(c.name) + ".db");
        test::writeFile(path, "");
        sql(path, c.sql);
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
    {
        core::Database holder;
        ASSERT_TRUE(holder.open(db, core::Database::Mode::CreateIfMissing));
        ASSERT_TRUE(holder.exec(test::oldestSchemaSql()));
        ASSERT_TRUE(holder.exec("BEGIN IMMEDIATE;"));
        EXPECT_EQ(run({"upgrade"}), kRefused);
        EXPECT_NE(err.str().find("locked"), std::string::npos) << err.str();
    }
    EXPECT_EQ(run({"upgrade"}), kOk);
}

TEST_F(Ctl, InitNeverDeletesAnotherFile) {
    test::writeFile(db + ".new", "di qualcun altro");
    EXPECT_EQ(ctl({"init", db}), kRefused);
    EXPECT_EQ(readWholeFile(db + ".new"), "di qualcun altro");
    EXPECT_FALSE(platform::realFileSystem().fileExists(db));
    EXPECT_EQ(ctl({"init", ""}), kUsage);
}

// Without a text in the language file, the English one, never a bare identifier.
TEST_F(Ctl, MessagesFallBackToEnglish) {
    EXPECT_EQ(ctl({"--db", dir.file("x.db"), "log", "show", "--from", "31/02/2024"}), kRefused);
    EXPECT_EQ(err.str(), "0240: Correct the start date and try again. 31/02/2024\n");
}

// The program's language: English on any other display language than
// Italian, and the one LangSetting.ini names.
TEST_F(Ctl, MessagesFollowTheDisplayLanguageAndTheSettingsFile) {
    test::writeFile(dir.file("english.lng"), "[Strings]\r\n0090=Database not found\r\n");
    const auto said = [&] {
        EXPECT_EQ(ctl({"--db", dir.file("assente.db"), "profiles"}), kRefused);
        return err.str().substr(0, err.str().find('\n'));
    };
    EXPECT_EQ(said().rfind("0090: Database non trovato", 0), 0u) << "an Italian display language";
    system.displayLanguage = 0x0409;
    EXPECT_EQ(said().rfind("0090: Database not found", 0), 0u);
    test::writeFile(dir.file("LangSetting.ini"), "[Language]\r\nCurrentLanguage=italian\r\n");
    EXPECT_EQ(said().rfind("0090: Database non trovato", 0), 0u);
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

// Text from the store or the input, printed, can neither forge a line or a
// field nor turn the rest of the line around or be read as a terminal's command.
TEST(Printable, EscapesWhatCouldForgeOrHideWhatFollows) {
    const std::pair<std::string, std::string> cases[] = {
        {"Scuola 3\xC2\xAA B", "Scuola 3\xC2\xAA B"},               // ª is a letter
        {"caff\xC3\xA8 \xE2\x82\xAC", "caff\xC3\xA8 \xE2\x82\xAC"},  // è and €
        {"a\tb\nc\rd\\e", "a\\tb\\nc\\rd\\\\e"},
        {std::string("a\0b\x1b[2J\x7f", 8), "a\\x00b\\x1b[2J\\x7f"},
        {"x\xC2\x85y\xC2\x9B" "1m", "x\\u0085y\\u009b1m"},  // C1: NEL, CSI
        {"gioco\xE2\x80\xAE" "exe.txt", "gioco\\u202eexe.txt"},  // right-to-left override
        {"\xE2\x80\xAA\xE2\x80\xAB\xE2\x80\xAC\xE2\x80\xAD", "\\u202a\\u202b\\u202c\\u202d"},
        {"\xE2\x81\xA6\xE2\x81\xA7\xE2\x81\xA8\xE2\x81\xA9", "\\u2066\\u2067\\u2068\\u2069"},
        {"\xE2\x80\x8E\xE2\x80\x8F\xD8\x9C", "\\u200e\\u200f\\u061c"},
        {"\xE2\x80\x8D\xE2\x80\xAF", "\xE2\x80\x8D\xE2\x80\xAF"},  // joiner and narrow space stay
        {"caff\xE8 \x9B" "1m \xC3", "caff\\xe8 \\x9b1m \\xc3"},   // bytes that are not UTF-8
    };
    for (const auto& [text, shown] : cases) EXPECT_EQ(printable(text), shown) << shown;
}

}  // namespace
}  // namespace ombrix::app
