// ombrixctl check, log and trace, on a store file as an administrator's script uses them.
#include <gtest/gtest.h>
#include <array>
#include <filesystem>
#include <sstream>
#include "app/ctl_fixture.h"
#include "core/schema.h"
#include "platform/system.h"
#include "platform/trace_file.h"

namespace ombrix::app {
namespace {
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
        {"#1", "http://sette.it/", "allowed\n"},             // the delivered profile enforces nothing
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
                                                 {"log", "show", "--da", "01/01/2024"}, {"log", "clear", "x"}}) {
        refused(args, "ombrixctl:", {}, kUsage);
    }
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
