// ombrixctl's profile commands, export, import, managed sync, check, log and trace. The editors' own rules are
// their tests: here, that each command path says the editor's message and writes nothing.
#include <gtest/gtest.h>
#include <array>
#include <filesystem>
#include <sstream>
#include "app/ctl_fixture.h"
#include "core/policy_names.h"
#include "core/schema.h"
#include "platform/system.h"
#include "platform/trace_file.h"
#include "profiles/profile_exchange.h"

namespace ombrix::app {
namespace {
struct CtlProfiles : CtlFixture {
    CtlProfiles() { EXPECT_EQ(ctl({"init", db}), kOk); }
};

TEST_F(CtlProfiles, AProfileFromAddToDelete) {
    EXPECT_EQ(said({"profile", "add", "Scuola"}), "0 2\tScuola\n");
    EXPECT_EQ(said({"site", "add", "scuola", "example.org", ".wiki.org", "*Giochi", "EXAMPLE.org"}),
              "0 added 3, duplicates skipped 1\n");
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"process", "add", "Scuola", "gioco.exe"}, {"window", "add", "Scuola", "Solitario"},
             {"profile", "set", "Scuola", "mode", "nostart"}, {"profile", "set", "Scuola", "list", "allowed"},
             {"profile", "set", "Scuola", "homepage", "example.org/start"}, {"profile", "set", "Scuola", "printer", "PDF"},
             {"profile", "set", "Scuola", "full-screen", "on"}, {"profile", "set", "Scuola", "block-downloads", "on"}}) {
        ASSERT_EQ(run(args), kOk) << args[1] << ": " << err.str();
    }
    ASSERT_TRUE(run({"profile", "copy", "Scuola", "Scuola 2"}) == kOk && run({"profile", "rename", "Scuola 2", "Medie"}) == kOk);
    EXPECT_EQ(said({"profile", "show", "medie"}),
              "0 id\t3\nname\tMedie\nmode\tnostart\nlist\tallowed\nblock-downloads\ton\nhide-messages\toff\n"
              "internal-browser\toff\nmax-protection\toff\nfull-screen\ton\nprinter\tPDF\n"
              "homepage\thttp://example.org/start\nsite\thttp://example.org\nsite\t.wiki.org\nsite\t*Giochi\n"
              "process\tgioco.exe\nwindow\tSolitario\n");
    EXPECT_EQ(said({"site", "remove", "Medie", "HTTP://EXAMPLE.ORG", "*giochi"}), "0 removed 2\n");
    ASSERT_EQ(run({"profile", "delete", "Medie"}), kOk);
    refused({"profile", "show", "Medie"}, "ombrixctl: no profile is named Medie\n");
}

// One refusal per command path: the editor's message, each refused entry with its line, the store as it was.
TEST_F(CtlProfiles, RefusalsSayTheEditorsMessageAndChangeNothing) {
    for (const char* name : {"Scuola", "Casa"}) ASSERT_EQ(run({"profile", "add", name}), kOk);
    ASSERT_EQ(run({"site", "add", "Casa", "casa.org"}), kOk);
    const struct {
        std::vector<std::string> args;
        std::string input, error;
        int status = kRefused;
    } cases[] = {
        {{"profile", "copy", "Casa", "SCUOLA"}, "", "0021: T0021\n"},
        {{"profile", "set", "Casa", "mode", "chiosco"}, "", "ombrixctl:", kUsage},
        {{"process", "add", "Casa", "ok.exe", "C:\\x.exe", "Y.EXE"}, "",
         "entry 2: 0027: T0027 (C:\\\\x.exe)\nentry 3: 0028: T0028 T0029 T0030 (Y.EXE)\n"},
        {{"site", "add", "Casa", "-"}, "altro.org\n*\n", "line 2: 0360: T0360 (*)\n"},
        {{"site", "remove", "Casa", "casa.org", "nessuno.org"}, "", "ombrixctl: entry 2: not on the site list\n"},
        // What a C string would end at is never cut into a broader entry.
        {{"site", "add", "Casa", "-"}, std::string("ok.it\nsc\0uola.it\n", 17), "line 2: 0359: "},
    };
    for (const auto& c : cases) refused(c.args, c.error, c.input, c.status);
}

// A profile on the command line is a name, letter case ignored; "#" and a number is an identifier. Never a guess.
TEST_F(CtlProfiles, EveryCommandTakesAProfileTheSameWay) {
    for (const char* name : {"Scuola", "2", "#2"}) ASSERT_EQ(run({"profile", "add", name}), kOk);
    // 2 Scuola, 3 "2", 4 "#2"; the delivered profile is 1.
    refused({"profile", "delete", "#2"}, "ombrixctl: #2 can mean profile #");
    ASSERT_EQ(run({"profile", "rename", "#4", "Medie"}), kOk) << err.str();
    const auto shown = [&](const std::string& arg) {
        return run({"profile", "show", arg}) == kOk ? std::stoll(out.str().substr(3)) : 0;
    };
    const std::pair<const char*, long long> arguments[] = {
        {"SCUOLA", 2}, {"2", 3}, {"#2", 2}, {"#1", 1}, {"3", 0}, {"#9", 0}, {"#", 0}, {"# 2", 0}, {"#-2", 0}, {"", 0},
    };
    for (const auto& [arg, expected] : arguments) EXPECT_EQ(shown(arg), expected) << "\"" << arg << "\"";
    // A number that names no profile but is an identifier says how to write one.
    refused({"profile", "show", "4"}, "ombrixctl: no profile is named 4 (an identifier is written #4)\n");
}

TEST_F(CtlProfiles, AProfileMovesToAnotherStoreAndRefusalsStoreNothing) {
    const std::string other = dir.file("b.db"), file = dir.file("scuola.OX");
    ASSERT_TRUE(ctl({"init", other}) == kOk && run({"profile", "add", "Scuola"}) == kOk);
    ASSERT_EQ(run({"site", "add", "Scuola", "scuola.it", ".wiki.org"}), kOk);
    EXPECT_EQ(said({"export", "scuola", file}), "0 0053: T0053ScuolaT0054\n");
    EXPECT_EQ(shown(ctl({"--db", other, "import", file})), "0 2\tScuola\n");
    const std::string here = said({"profile", "show", "Scuola"});
    EXPECT_EQ(shown(ctl({"--db", other, "profile", "show", "Scuola"})), here);
    refused({"import", file}, "0050: T0050Scuola.\n");
    refused({"export", "Scuola", dir.file("no") + "/x.ox"}, "0");
}

// Synced from the policy's file, the profile refuses every change; a damaged file leaves it as it was.
TEST_F(CtlProfiles, AManagedProfileRefusesEveryChange) {
    const std::string file = dir.file("aula.ox");
    registry.writeString(platform::RegRoot::LocalMachine, core::policy::kPolicyKey, core::policy::kManagedProfilesPath, file);
    profiles::ExchangeProfile aula;
    aula.record.name = "Aula"; aula.processes = {"gioco.exe"};
    test::writeFile(file, profiles::exchangeText(aula).bytes);
    EXPECT_EQ(said({"managed", "sync"}), "0 imported, 1 profiles written or removed\n");
    refused({"site", "add", "Aula", "scuola.it"}, "0380: T0380 " + file + "\n");
    test::writeFile(file, "<NOME>\r\nAula\r\n");
    refused({"managed", "sync"}, "ombrixctl: managed profiles refused, the last good set stays: the managed file is damaged");
}

struct CtlEnforce : CtlFixture {
    CtlEnforce() : CtlFixture("0238=Data iniziale mancante\r\n0242=Data finale errata\r\n") {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
        sql(db,
            "INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti) VALUES (2, 'Scuola', -1), (3, 'Chiosco', 0), "
            "(4, '2', -1);"
            "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (2, '*casino'), (2, 'giochi.it/poker'), "
            "(2, '.Poker.com'), (3, '.scuola.it'), (3, 'wikipedia.org'), (4, '*sette');"
            "INSERT INTO LogSiti (DataOra, URL) VALUES ('2024-03-04 10:00:00', 'http://ieri.it/'), "
            "('2024-03-05 00:00:00', 'http://mezzanotte.it/'), ('2024-03-05 14:07:09', 'http://l''arte.it/'), "
            "('2024-03-06 00:00:00', 'http://fine.it/'), ('2024-03-06 08:00:00', 'http://dopo.it/');");
    }
};

TEST_F(CtlEnforce, CheckJudgesAsTheChromeBlockers) {
    const std::array<const char*, 3> cases[] = {
        {"Scuola", "https://www.giochi.it/poker/tavolo", "blocked 0181 giochi.it/poker\n"},
        {"#3", "https://wikipedia.org/wiki/Roma", "allowed wikipedia.org\n"},
        {"2", "http://sette.it/", "blocked 0180 *sette\n"},  // the profile named "2", not identifier 2
    };
    for (const auto& [profile, address, line] : cases) {
        EXPECT_EQ(said({"check", profile, address}), "0 " + std::string(line)) << profile << " " << address;
    }
    EXPECT_EQ(said({"check", "Chiosco", "-"}, "https://scuola.it/\r\nhttps://video.example/\n\nabout:blank\nlast"),
              "0 allowed .scuola.it\nblocked 0182\nallowed\nallowed\nblocked 0182\n");
    const std::string input = "https://giochi.it/\nhttp://x.org/?q=casino\n\nhttps://news.poker.com/\tx\n";
    EXPECT_EQ(said({"check", "--blocked-only", "Scuola", "-"}, input),
              "0 2\thttp://x.org/?q=casino\t0180 *casino\n4\thttps://news.poker.com/\\tx\t0182 .Poker.com\n");
    EXPECT_EQ(said({"check", "--count", "--count", "Scuola", "-"}, input), "0 checked 4, blocked 2, allowed 2\n");
    refused({"check", "--count", "--blocked-only", "Scuola", "-"}, "ombrixctl:", input, kUsage);
    refused({"check", "Scuola"}, "ombrixctl:", {}, kUsage);
}

// A damaged list is never an empty one: the store's error, not "allowed".
TEST_F(CtlEnforce, CheckSaysWhenTheStoreCannotBeRead) {
    const auto pristine = readWholeFile(db).value();
    for (const auto& [damage, error] : {std::pair{"DROP TABLE SitiVietatiConsentiti;", "no such table: SitiVietatiConsentiti\n"},
                                        {"ALTER TABLE Profili RENAME SitiProibiti TO X;", "no such column: SitiProibiti\n"}}) {
        test::writeFile(db, pristine);
        sql(db, damage);
        EXPECT_EQ(said({"check", "#2", "http://www.poker.com/"}), "1 ombrixctl: cannot read the database: " + std::string(error));
    }
}

// Results that cannot be written are reported: a script learns they were lost.
TEST_F(CtlEnforce, AnOutputThatCannotBeWrittenExitsOne) {
    struct : std::streambuf {
        int overflow(int) override { return traits_type::eof(); }
    } full;
    std::ostream sink(&full);
    std::istringstream in("http://a.it/\nhttp://b.it/\n");
    CtlEnvironment env{registry, platform::realFileSystem(), system, in, sink, err};
    EXPECT_EQ(runCtl({"--db", db, "check", "#2", "-"}, env), kRefused);
    EXPECT_NE(err.str().find("cannot write the output"), std::string::npos);
}

// The range rules are the log viewer's.
TEST_F(CtlEnforce, LogShowsNewestFirstWithinTheRangeAndClears) {
    EXPECT_EQ(said({"log", "show", "--from", "05/03/2024", "--to", "5/3/2024"}),
              "0 2024-03-06 00:00:00\thttp://fine.it/\n2024-03-05 14:07:09\thttp://l'arte.it/\n"
              "2024-03-05 00:00:00\thttp://mezzanotte.it/\n");
    refused({"log", "show", "--from", ""}, "0238: Data iniziale mancante\n");
    refused({"log", "show", "--to", "domani"}, "0242: Data finale errata domani\n");
    for (const std::vector<std::string>& args : {std::vector<std::string>{"log", "show", "--from"},
                                                 {"log", "show", "--da", "01/01/2024"}, {"log", "clear", "x"}}) refused(args, "ombrixctl:", {}, kUsage);
    EXPECT_TRUE(run({"log", "clear"}) == kOk && said({"log", "show"}) == "0 ") << "the store's old rows were copied once";
    core::Database store;
    EXPECT_TRUE(store.open(db) && store.scalar("SELECT count(*) FROM LogSiti;").toInteger() == 5) << "and stay in the store";
}

// The log and the trace are files beside the store named by --db; the trace, which any user may write, is escaped.
TEST_F(CtlEnforce, LogAndTraceAreTheFilesBesideTheStore) {
    const std::string folder = dir.file("Registro") + platform::pathSeparator();
    test::writeFile(folder + "LogSiti.db", std::string(4096, 'x'));
    EXPECT_TRUE(begins({"log", "show"}, "1 0350: ") && err.str().find(folder + "LogSiti.db") != std::string::npos) << err.str();
    EXPECT_EQ(readWholeFile(folder + "LogSiti.db").value(), std::string(4096, 'x'));
    const std::string trace = folder + "ombrix-trace.txt";
    EXPECT_EQ(said({"trace"}), "0 " + trace + "\n");
    test::writeFile(trace, "planted \x1b[2J C:\\Dati\r\n");
    EXPECT_EQ(said({"trace", "show"}), "0 planted \\x1b[2J C:\\Dati\n");
    platform::setTraceFolder({}, {});
}
}  // namespace
}  // namespace ombrix::app
