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

TEST_F(Ctl, UsageInitAndTheCopyEachWriteKeeps) {
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{}, {"frobnicate"}, {"--db"}, {"init"},
                                                  {"init", ""}, {"--colour", "upgrade"}, {"--db", db, "upgrade", "x"}}) {
        EXPECT_EQ(ctl(wrong), kUsage) << wrong.size();
    }
    EXPECT_EQ(ctl({"--version"}), kOk);
    EXPECT_EQ(out.str(), "ombrixctl " OMBRIX_VERSION "\n");
    test::writeFile(db + ".new", "di qualcun altro");
    EXPECT_EQ(ctl({"init", db}), kRefused) << "another's file is never deleted";
    EXPECT_EQ(readWholeFile(db + ".new"), "di qualcun altro");
    std::filesystem::remove(db + ".new");
    ASSERT_EQ(ctl({"init", db}), kOk);
    const auto before = readWholeFile(db);
    EXPECT_EQ(ctl({"init", db}), kRefused);
    EXPECT_EQ(readWholeFile(db), before) << "an existing file is never overwritten";

    // A write that went through is copied beside the store (what a lost store
    // falls back on); a read makes no copy.
    const std::string copy = dir.file("DataBase.copia.db");
    EXPECT_EQ(run({"profiles"}), kOk);
    EXPECT_EQ(out.str(), "1\tNessuna restrizione\n");
    EXPECT_FALSE(std::filesystem::exists(copy));
    test::writeFile(copy, "no database");  // a damaged copy is made anew
    EXPECT_EQ(run({"process", "add", "#1", "gioco.exe"}), kOk);
    core::Database d;
    ASSERT_TRUE(d.open(copy, core::Database::Mode::ReadOnly));
    EXPECT_EQ(d.scalar("SELECT group_concat(Processo) FROM ProcessiVietati;").toText(), "gioco.exe");
}

// The upgrade's own refusals are the store's: here, what the command says and that it writes nothing.
TEST_F(Ctl, UpgradeSaysWhatItDidOrWhyNotAndChangesNothingWhenItFails) {
    const std::string oldest(test::oldestSchemaSql());
    const struct {
        std::string sql;
        int code;
        const char* said;
    } cases[] = {
        {oldest, kOk, "upgraded\n"},
        // An index holding the name makes the LogSiti creation fail.
        {oldest + "CREATE TABLE X(y); CREATE INDEX LogSiti ON X(y);", kRefused,
         "0314: The database upgrade failed; the database was not changed: CREATE TABLE LogSiti"},
        {"CREATE TABLE Ricette (Nome TEXT);", kRefused, "0315: The file is not an Ombrix database: "},
    };
    for (const auto& c : cases) {
        test::writeFile(db, "");
        sql(db, c.sql);
        if (c.code != kOk) {
            refused({"upgrade"}, c.said);
            continue;
        }
        EXPECT_EQ(run({"upgrade"}), kOk);
        EXPECT_EQ(out.str(), c.said);
        EXPECT_EQ(run({"upgrade"}), kOk);
        EXPECT_EQ(out.str(), "up to date\n");
        EXPECT_EQ(run({"profiles"}), kOk);
        EXPECT_EQ(out.str(), "1\tScuola\n2\tChiosco\n");
    }
    // A store another writer holds is refused after the wait, not "up to date".
    test::writeFile(db, "");
    sql(db, oldest);
    core::Database holder;
    ASSERT_TRUE(holder.open(db));
    ASSERT_TRUE(holder.exec("BEGIN IMMEDIATE;"));
    EXPECT_EQ(run({"upgrade"}), kRefused);
    EXPECT_NE(err.str().find("locked"), std::string::npos) << err.str();
}

// The language file's text, else English, never a bare identifier; English on
// any other display language than Italian, and the one LangSetting.ini names.
TEST_F(Ctl, MessagesFollowTheLanguageAndAMissingOrForeignStoreIsRefused) {
    EXPECT_EQ(ctl({"--db", db, "log", "show", "--from", "31/02/2024"}), kRefused);
    EXPECT_EQ(err.str(), "0240: Correct the start date and try again. 31/02/2024\n");
    test::writeFile(dir.file("english.lng"), "[Strings]\r\n0090=Database not found\r\n");
    const auto said = [&] {
        EXPECT_EQ(run({"profiles"}), kRefused);
        return err.str().substr(0, err.str().find('\n'));
    };
    EXPECT_EQ(said().rfind("0090: Database non trovato", 0), 0u);
    system.displayLanguage = 0x0409;
    EXPECT_EQ(said().rfind("0090: Database not found", 0), 0u);
    test::writeFile(dir.file("LangSetting.ini"), "[Language]\r\nCurrentLanguage=italian\r\n");
    EXPECT_EQ(said().rfind("0090: Database non trovato", 0), 0u);
    EXPECT_EQ(run({"upgrade"}), kRefused);
    EXPECT_FALSE(std::filesystem::exists(db)) << "nothing is created";
    test::writeFile(db, std::string(4096, 'j'));
    EXPECT_EQ(run({"profiles"}), kRefused);
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
        {"Scuola 3\xC2\xAA caff\xC3\xA8 \xE2\x82\xAC", "Scuola 3\xC2\xAA caff\xC3\xA8 \xE2\x82\xAC"},
        {"a\tb\nc\rd\\e", "a\\tb\\nc\\rd\\\\e"},
        {std::string("a\0b\x1b[2J\x7f", 8), "a\\x00b\\x1b[2J\\x7f"},
        {"x\xC2\x85y\xC2\x9B" "1m", "x\\u0085y\\u009b1m"},  // C1: NEL, CSI
        {"\xE2\x80\xAA\xE2\x80\xAE\xE2\x81\xA6\xE2\x81\xA9\xE2\x80\x8E\xE2\x80\x8F\xD8\x9C",
         "\\u202a\\u202e\\u2066\\u2069\\u200e\\u200f\\u061c"},
        {"\xC2\xA0\xE2\x80\x8D\xE2\x80\xAF\xE2\x81\xA5\xE2\x81\xAA", "\xC2\xA0\xE2\x80\x8D\xE2\x80\xAF\xE2\x81\xA5\xE2\x81\xAA"},
        {"caff\xE8 \x9B" "1m \xC3", "caff\\xe8 \\x9b1m \\xc3"},  // bytes that are not UTF-8
    };
    for (const auto& [text, shown] : cases) EXPECT_EQ(printable(text), shown) << shown;
}

}  // namespace
}  // namespace ombrix::app
