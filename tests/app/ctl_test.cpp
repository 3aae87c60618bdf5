#include "app/ctl.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "app/ctl_fixture.h"
#include "app/ctl_session.h"
#include "app/ctl_streams.h"
#include "core/schema.h"
#include "ombrix_version.h"

namespace ombrix::app {
namespace {

struct Ctl : CtlFixture {
    Ctl() : CtlFixture("0090=Database non trovato\r\n") {}
};
TEST_F(Ctl, UsageInitAndTheCopyEachWriteKeeps) {
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{"frobnicate"}, {"--db"}, {"init", ""},
                                                  {"--colour", "upgrade"}, {"--db", db, "upgrade", "x"}}) {
        EXPECT_EQ(ctl(wrong), kUsage) << wrong.size();
    }
    EXPECT_TRUE(ctl({"--version"}) == kOk && out.str() == "ombrixctl " OMBRIX_VERSION "\n");
    test::writeFile(db + ".new", "di qualcun altro");
    EXPECT_EQ(ctl({"init", db}), kRefused) << "another's file is never deleted";
    std::filesystem::rename(db + ".new", db + ".x");
    ASSERT_EQ(ctl({"init", db}), kOk);
    EXPECT_EQ(ctl({"init", db}), kRefused) << "an existing file is never overwritten";
    // A write that went through is copied beside the store (what a lost store falls back on); a read is not.
    const std::string copy = dir.file("DataBase.copia.db");
    EXPECT_TRUE(run({"profiles"}) == kOk && out.str() == "1\tNessuna restrizione\n" && !std::filesystem::exists(copy));
    test::writeFile(copy, "no database");  // a damaged copy is made anew
    EXPECT_EQ(run({"process", "add", "#1", "gioco.exe"}), kOk);
    core::Database d;
    EXPECT_TRUE(d.open(copy, core::Database::Mode::ReadOnly) &&
                d.scalar("SELECT group_concat(Processo) FROM ProcessiVietati;").toText() == "gioco.exe");
}

// The upgrade's own rules are the store's: here, what the command says, and that a refusal writes nothing.
TEST_F(Ctl, UpgradeSaysWhatItDidOrWhyNotAndChangesNothingWhenItFails) {
    const auto anew = [&](const std::string& statements) { test::writeFile(db, ""), sql(db, statements); };
    anew("CREATE TABLE Ricette (Nome TEXT);");
    refused({"upgrade"}, "0315: The file is not an Ombrix database: ");
    anew(std::string(test::oldestSchemaSql()));
    for (const char* said : {"upgraded\n", "up to date\n"}) EXPECT_TRUE(run({"upgrade"}) == kOk && out.str() == said);
    EXPECT_TRUE(run({"profiles"}) == kOk && out.str() == "1\tScuola\n2\tChiosco\n");
    // A store another writer holds is refused after the wait, not "up to date".
    anew(std::string(test::oldestSchemaSql()));
    core::Database holder;
    ASSERT_TRUE(holder.open(db) && holder.exec("BEGIN IMMEDIATE;"));
    EXPECT_TRUE(run({"upgrade"}) == kRefused && err.str().find("locked") != std::string::npos) << err.str();
}

// The language file's text, else English, never a bare identifier.
TEST_F(Ctl, MessagesAreTheLanguagesAndAMissingOrForeignStoreIsRefused) {
    EXPECT_EQ(said({"log", "show", "--from", "31/02/2024"}), "1 0240: Correct the start date and try again. 31/02/2024\n");
    EXPECT_TRUE(begins({"profiles"}, "1 0090: Database non trovato"));
    EXPECT_TRUE(run({"upgrade"}) == kRefused && !std::filesystem::exists(db)) << "nothing is created";
    test::writeFile(db, std::string(4096, 'j'));
    EXPECT_TRUE(run({"profiles"}) == kRefused && err.str().find("cannot open") != std::string::npos);
}

// Printed text can neither forge a line or a field nor turn the rest around or command a terminal.
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

TEST(BlockOutput, WritesWholeLinesInBlocksAndTheRestOnAFlushAndATargetThatTakesLessFailsTheStream) {
    struct : std::streambuf {  // each write apart; at most `room` bytes in all
        std::vector<std::string> writes;
        std::size_t room = std::string::npos;
        std::streamsize xsputn(const char* s, std::streamsize n) override {
            const auto taken = std::min<std::size_t>(static_cast<std::size_t>(n), room);
            return room -= taken, writes.emplace_back(s, taken), static_cast<std::streamsize>(taken);
        }
    } target;
    BlockOutput block(target, 8);
    std::ostream out(&block);
    out << "ab\ncd\nefg";
    EXPECT_EQ(target.writes, std::vector<std::string>{"ab\ncd\n"});
    out << "hijklmnopq" << "\n" << std::flush;  // no line end within a block: it goes out as it comes
    EXPECT_EQ(target.writes, (std::vector<std::string>{"ab\ncd\n", "efghijkl", "mnopq\n"}));
    target.room = 3;
    EXPECT_TRUE(out << "ab\ncd\n");
    out.flush();
    EXPECT_FALSE(out);
}

}  // namespace
}  // namespace ombrix::app
