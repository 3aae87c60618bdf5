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

// Writes without administrator rights go through the consent prompt; the fake's elevated run is runCtl here.
struct FakeElevator final : Elevator {
    std::optional<std::string> privateFolder(std::string& error) override {
        const auto folder = root / ("relay" + std::to_string(runs));
        if (!(error = folderError).empty() || !std::filesystem::create_directory(folder)) return std::nullopt;
        return pathToUtf8(folder);
    }
    Run run(const std::vector<std::string>& args, bool ownConsole) override {
        ++runs; last = ownConsole ? "console" : "";
        for (const auto& a : args) last += " " + a;
        if (outcome != Run::Outcome::Ended) return {outcome, 1, "Accesso negato."};
        std::istringstream none;
        std::ostringstream ignored;
        CtlEnvironment env{registry, platform::realFileSystem(), system, none, ignored, ignored};
        return {outcome, runCtl(args, env), {}};
    }
    std::filesystem::path root;
    Run::Outcome outcome = Run::Outcome::Refused;
    std::string folderError, last;  // the last run's line, after "console" when it has its own
    int runs = 0;
    platform::FileRegistry registry;
    test::FakeSystem system;
};

struct CtlElevate : CtlFixture {
    CtlElevate() : CtlFixture("") {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
        fake.root = dir.path() / "elevations";
        std::filesystem::create_directory(fake.root);
        fake.system.folder = system.folder;
        elevator = &fake;
    }
    FakeElevator fake;
};

TEST_F(CtlElevate, WritesAskForConsentReadsNever) {
    // '-' runs here; 'r' asks and relays; 'i' hands standard input over too; 'c' types in the run's own console.
    const std::pair<std::vector<std::string>, char> cases[] = {
        {{"profiles"}, '-'},           {{"profile", "show", "#1"}, '-'},     {{"password", "check"}, '-'},
        {{"slots", "show"}, '-'},      {{"option", "nopopup"}, '-'},         {{"autostart"}, '-'},
        {{"log", "show"}, '-'},        {{"profile", "add", "N"}, 'r'},       {{"use", "#1"}, 'r'},
        {{"site", "add", "#1", "a.org"}, 'r'}, {{"window", "add", "#1", "-"}, 'i'}, {{"password", "set"}, 'c'},
        {{"slots", "off"}, 'r'},       {{"log", "clear"}, 'r'},              {{"option", "keyboard", "on"}, 'r'},
        {{"autostart", "off"}, 'r'},
    };
    const auto before = readWholeFile(db);
    for (const auto& [line, how] : cases) {
        SCOPED_TRACE(line[0] + " " + (line.size() > 1 ? line[1] : ""));
        const int runs = fake.runs, status = run(line, "Segreta1\n");
        ASSERT_EQ(fake.runs - runs, how == '-' ? 0 : 1);
        if (how == '-') continue;
        EXPECT_EQ(shown(status), "1 0340: The administrator's consent was not given: nothing was changed.\n");
        EXPECT_EQ(std::pair(fake.last.starts_with("console"), fake.last.find(" --input ") != std::string::npos),
                  std::pair(how == 'c', how == 'i')) << fake.last;
    }
    EXPECT_EQ(readWholeFile(db), before) << "a declined consent changes nothing";
    EXPECT_TRUE(std::filesystem::is_empty(fake.root));
    fake.runs = 0;
    EXPECT_EQ(ctl({"init", dir.file("nuovo.db")}), kOk) << "a new file of the caller's own";
    EXPECT_EQ(ctl({"--elevated", "--db", db, "profile", "add", "Senza"}), kOk) << "came through the prompt";
    EXPECT_EQ((system.isElevated = true, run({"profile", "add", "Elevato"})), kOk);
    EXPECT_EQ((system.env["OMBRIX_AS_STANDARD_USER"] = "1", run({"profile", "add", "Standard"})), kRefused) << "it only adds a prompt";
    elevator = nullptr;
    EXPECT_EQ(run({"profile", "add", "Diretto"}), kOk) << "no elevator: run here, let the system refuse";
    EXPECT_EQ(fake.runs, 1) << "only the standard user's";
}

TEST_F(CtlElevate, TheElevatedRunsOutputAndStatusComeBackOrWhyItDidNotRun) {
    fake.outcome = Elevator::Run::Outcome::Ended; fake.system.env["OMBRIX_AS_STANDARD_USER"] = "1";  // it never asks again
    EXPECT_EQ(said({"site", "add", "#1", "-"}, "a.org\nb.org\na.org\n"), "0 added 2, duplicates skipped 1\n");
    EXPECT_TRUE(begins({"profile", "add", "nessuna restrizione"}, "1 0021: ")) << err.str();
    EXPECT_TRUE(std::filesystem::is_empty(fake.root)) << "the relay's folders are removed";
    system.env["NUOVA"] = "Segreta1";
    EXPECT_TRUE(begins({"password", "set", "--from-environment", "NUOVA"}, "1 0342: ")) << err.str();
    fake.outcome = Elevator::Run::Outcome::Failed;
    for (const char* why : {"Accesso negato.", "Disco pieno."}) {
        fake.folderError = why == std::string("Disco pieno.") ? why : "";
        EXPECT_EQ(said({"use", "#1"}), "1 0341: The command could not be run with administrator rights: " + std::string(why) + "\n");
    }
    EXPECT_EQ(fake.runs, 3);
}
}  // namespace
}  // namespace ombrix::app
