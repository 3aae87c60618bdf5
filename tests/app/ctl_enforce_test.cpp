// ombrixctl check, log and trace, on a store file as an administrator's script uses them.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "app/ctl_fixture.h"
#include "app/ctl_streams.h"
#include "core/database.h"
#include "core/schema.h"
#include "fakes/fake_standard_input.h"
#include "platform/files.h"
#include "platform/system.h"
#include "platform/trace_file.h"

namespace ombrix::app {
namespace {

class CtlEnforce : public CtlFixture {
protected:
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
    struct Case {
        const char* profile;
        const char* address;
        const char* line;
    };
    const Case cases[] = {
        {"Scuola", "https://www.giochi.it/poker/tavolo", "blocked 0181 giochi.it/poker\n"},
        {"scuola", "http://x.org/?q=CASINO", "blocked 0180 *casino\n"},
        {"#2", "https://news.poker.com/", "blocked 0182 .Poker.com\n"},
        {"Scuola", "https://giochi.it/", "allowed\n"},
        {"Chiosco", "https://it.wikipedia.org/", "blocked 0182\n"},
        {"#3", "https://wikipedia.org/wiki/Roma", "allowed wikipedia.org\n"},
        {"#3", "about:newtab,", "allowed\n"},
        {"#3", "", "allowed\n"},
        {"#2", "http://sette.it/", "allowed\n"},
        {"2", "http://sette.it/", "blocked 0180 *sette\n"},  // the profile named "2", not identifier 2
        {"#4", "http://sette.it/", "blocked 0180 *sette\n"},
        {"#1", "http://sette.it/", "allowed\n"},  // the delivered profile enforces nothing
    };
    for (const auto& c : cases) {
        EXPECT_EQ(run({"check", c.profile, c.address}), kOk) << err.str();
        EXPECT_EQ(out.str(), c.line) << c.profile << " " << c.address;
    }
    // Many addresses from standard input, one a line.
    EXPECT_EQ(run({"check", "Chiosco", "-"}, "https://scuola.it/\r\nhttps://video.example/\n\nabout:blank\nlast"), kOk);
    EXPECT_EQ(out.str(), "allowed .scuola.it\nblocked 0182\nallowed\nallowed\nblocked 0182\n");
}

TEST_F(CtlEnforce, CheckRefusesWhatItCannotJudge) {
    EXPECT_EQ(run({"check", "Nessuno", "http://a.it/"}), kRefused);
    EXPECT_NE(err.str().find("no profile is named Nessuno"), std::string::npos);
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(run({"check", "#99", "http://a.it/"}), kRefused);
    EXPECT_EQ(run({"check", "Scuola"}), kUsage);
    EXPECT_EQ(run({"check", "Scuola", "a", "b"}), kUsage);
}

// A damaged site list is never an empty one: the command says the store's
// error and exits 1, instead of answering "allowed" for every address.
TEST_F(CtlEnforce, CheckSaysWhenTheStoreCannotBeRead) {
    ASSERT_EQ(run({"check", "#2", "http://www.poker.com/"}), kOk);
    ASSERT_EQ(out.str().rfind("blocked", 0), 0u);
    const struct {
        const char* damage;
        const char* error;
    } cases[] = {
        {"DROP TABLE SitiVietatiConsentiti;", "no such table: SitiVietatiConsentiti"},
        {"ALTER TABLE Profili RENAME SitiProibiti TO X;", "no such column"},
        {"DROP TABLE Profili;", "no such table: Profili"},
        // "http://" and a NUL: cut at the NUL, an entry that matches every address.
        {"UPDATE SitiVietatiConsentiti SET Sito = CAST(X'687474703A2F2F0078' AS TEXT) WHERE Sito = '*casino';",
         "NUL"},
    };
    const auto pristine = readWholeFile(db).value();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.damage);
        test::writeFile(db, pristine);
        sql(db, c.damage);
        EXPECT_EQ(run({"check", "#2", "http://www.poker.com/"}), kRefused);
        EXPECT_EQ(out.str(), "");
        EXPECT_NE(err.str().find(c.error), std::string::npos) << err.str();
        EXPECT_EQ(run({"check", "Scuola", "-"}, "http://a.it/\n"), kRefused);
        EXPECT_EQ(out.str(), "");
    }
}

class FailingOutput : public std::streambuf {
    int overflow(int) override { return traits_type::eof(); }
};

TEST_F(CtlEnforce, CheckPrintsTheBlockedAddressesOnlyOrTheTotals) {
    const std::string input = "https://giochi.it/\nhttp://x.org/?q=casino\n\nhttps://news.poker.com/\tx\n";
    const struct {
        std::vector<std::string> options;
        const char* printed;
    } cases[] = {
        {{"--blocked-only"}, "2\thttp://x.org/?q=casino\t0180 *casino\n4\thttps://news.poker.com/\\tx\t0182 .Poker.com\n"},
        {{"--count"}, "checked 4, blocked 2, allowed 2\n"},
        {{"--count", "--count"}, "checked 4, blocked 2, allowed 2\n"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args{"check"};
        args.insert(args.end(), c.options.begin(), c.options.end());
        args.insert(args.end(), {"Scuola", "-"});
        EXPECT_EQ(run(args, input), kOk) << err.str();
        EXPECT_EQ(out.str(), c.printed) << c.options[0];
    }
    EXPECT_EQ(run({"check", "--blocked-only", "Scuola", "http://a.it/casino"}), kOk);
    EXPECT_EQ(out.str(), "1\thttp://a.it/casino\t0180 *casino\n");
    EXPECT_EQ(run({"check", "--count", "--blocked-only", "Scuola", "-"}, input), kUsage);
    EXPECT_EQ(out.str(), "");
}

// A store left with the journal of an interrupted write: opening it to write
// would roll that write back into the file. check only reads, so it leaves
// the file to the program and says it cannot read it.
TEST_F(CtlEnforce, CheckNeverWritesTheStore) {
    const std::string copy = dir.file("Copia.db");
    {
        core::Database writer;
        ASSERT_TRUE(writer.open(db));
        // A cache of one page spills the transaction's pages into the file.
        ASSERT_TRUE(writer.exec("PRAGMA cache_size = 1; BEGIN; UPDATE SitiVietatiConsentiti SET Sito = Sito || 'x';"
                                "INSERT INTO LogSiti (DataOra, URL) SELECT '2024-01-01 00:00:00', hex(randomblob(900)) "
                                "FROM Profili, Profili, Profili, Profili;"));
        std::filesystem::copy_file(db, copy);
        std::filesystem::copy_file(db + "-journal", copy + "-journal");
        ASSERT_TRUE(writer.exec("ROLLBACK;"));
    }
    const auto before = readWholeFile(copy);
    ASSERT_TRUE(before);
    EXPECT_EQ(ctl({"--db", copy, "check", "Scuola", "http://giochi.it/poker"}), kRefused);
    EXPECT_TRUE(readWholeFile(copy) == before) << "the file changed";
    EXPECT_TRUE(std::filesystem::exists(copy + "-journal"));
}

// Whoever types one address at a time sees its answer before the next read
// waits; lines that are all there already come out in one block at the end.
TEST_F(CtlEnforce, CheckAnswersEachTypedLineAtOnceAndABatchInOneBlock) {
    for (const bool typed : {true, false}) {
        std::ostringstream shown;
        test::FakeStandardInput input({{"https://giochi.it/poker\n"}, {"https://giochi.it/\n", typed}},
                                      [&] { return shown.str(); });
        StandardStreams streams(input, shown);
        CtlEnvironment env{registry, platform::realFileSystem(), system, streams.in(), shown, err};
        ASSERT_EQ(runCtl({"--db", db, "check", "Scuola", "-"}, env), kOk) << err.str();
        ASSERT_EQ(input.shownBeforeRead.size(), 3u);
        EXPECT_EQ(input.shownBeforeRead[1], typed ? "blocked 0181 giochi.it/poker\n" : "") << typed;
        EXPECT_EQ(shown.str(), "blocked 0181 giochi.it/poker\nallowed\n");
    }
}

// Results that cannot be written are reported: a script learns they were lost.
TEST_F(CtlEnforce, AnOutputThatCannotBeWrittenExitsOne) {
    FailingOutput full;
    std::ostream sink(&full);
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"--db", db, "check", "#2", "-"}, std::vector<std::string>{"--help"}}) {
        std::istringstream in("http://a.it/\nhttp://b.it/\n");
        err.str({});
        sink.clear();
        CtlEnvironment env{registry, platform::realFileSystem(), system, in, sink, err};
        EXPECT_EQ(runCtl(args, env), kRefused) << args[2 % args.size()];
        EXPECT_NE(err.str().find("cannot write the output"), std::string::npos);
    }
}

// Stored text is printed so that it cannot forge lines or fields.
TEST_F(CtlEnforce, StoredControlCharactersArePrintedEscaped) {
    {
        core::Database store;
        ASSERT_TRUE(store.open(db));
        ASSERT_TRUE(store.run("INSERT INTO Profili (IDProfilo, Profilo) VALUES (5, ?);",
                              {core::Value(std::string("a\nb\tc\\d\x1b", 9))}));
        ASSERT_TRUE(store.run("INSERT INTO LogSiti (DataOra, URL) VALUES ('2030-01-01 00:00:00', ?);",
                              {core::Value(std::string("http://x.it/\n2030-01-01 00:00:01\thttp://falso.it/"))}));
    }
    ASSERT_EQ(run({"profiles"}), kOk);
    EXPECT_NE(out.str().find("5\ta\\nb\\tc\\\\d\\x1b\\x00\n"), std::string::npos) << out.str();
    ASSERT_EQ(run({"log", "show", "--from", "01/01/2030"}), kOk);
    EXPECT_EQ(out.str(), "2030-01-01 00:00:00\thttp://x.it/\\n2030-01-01 00:00:01\\thttp://falso.it/\n");
}

// The range rules are the log viewer's (tests/enforce/site_log_test.cpp).
TEST_F(CtlEnforce, LogShowsNewestFirstWithinTheRangeAndClears) {
    EXPECT_EQ(run({"log", "show", "--from", "05/03/2024", "--to", "5/3/2024"}), kOk);
    EXPECT_EQ(out.str(),
              "2024-03-06 00:00:00\thttp://fine.it/\n2024-03-05 14:07:09\thttp://l'arte.it/\n"
              "2024-03-05 00:00:00\thttp://mezzanotte.it/\n");
    EXPECT_EQ(run({"log", "clear"}), kOk);
    EXPECT_EQ(run({"log", "show"}), kOk);
    EXPECT_EQ(out.str(), "") << "the store's old rows were copied once";
    core::Database store;
    ASSERT_TRUE(store.open(db));
    EXPECT_EQ(store.scalar("SELECT count(*) FROM LogSiti;").toInteger(), 5) << "and stay in the store";
}

// The log is the file beside the store named by --db; one that is not a log
// is refused with its message and left as it is.
TEST_F(CtlEnforce, LogIsTheFileBesideTheStore) {
    const std::string log = dir.file("Registro") + platform::pathSeparator() + "LogSiti.db";
    test::writeFile(log, std::string(4096, 'x'));
    EXPECT_EQ(run({"log", "show"}), kRefused);
    EXPECT_EQ(err.str().rfind("0350: ", 0), 0u) << err.str();
    EXPECT_NE(err.str().find(log), std::string::npos) << err.str();
    EXPECT_EQ(run({"log", "clear"}), kRefused);
    EXPECT_EQ(readWholeFile(log).value(), std::string(4096, 'x'));
    std::filesystem::remove(log);
    EXPECT_EQ(run({"log", "show", "--to", "04/03/2024"}), kOk);
    EXPECT_EQ(out.str(), "2024-03-05 00:00:00\thttp://mezzanotte.it/\n2024-03-04 10:00:00\thttp://ieri.it/\n")
        << "a new log, filled from the store";
}

// The trace is in the log folder beside the store. Any user may write it:
// a planted line is shown with its controls escaped, paths as they are.
TEST_F(CtlEnforce, TraceSaysWhereTheFileIsAndShowsItsLastLines) {
    const std::string trace = dir.file("Registro") + platform::pathSeparator() + "ombrix-trace.txt";
    ASSERT_EQ(run({"trace"}), kOk);
    EXPECT_EQ(out.str(), trace + "\n");
    test::writeFile(trace + ".1", "older\r\n");
    test::writeFile(trace, "2025-01-01 10:00:00.000\tombrix\tx.cpp:1 f\tplanted \x1b[2J C:\\Dati\r\n");
    ASSERT_EQ(run({"trace", "show"}), kOk);
    EXPECT_EQ(out.str(), "older\n2025-01-01 10:00:00.000\tombrix\tx.cpp:1 f\tplanted \\x1b[2J C:\\Dati\n");
    EXPECT_EQ(run({"trace", "all"}), kUsage);
    platform::setTraceFolder({}, {});
}

TEST_F(CtlEnforce, LogRefusesBadDatesWithTheViewersMessagesAndChangesNothing) {
    EXPECT_EQ(run({"log", "show", "--from", ""}), kRefused);
    EXPECT_EQ(err.str(), "0238: Data iniziale mancante\n");
    EXPECT_EQ(run({"log", "show", "--to", "domani"}), kRefused);
    EXPECT_EQ(err.str(), "0242: Data finale errata domani\n");
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"log", "show", "--from"}, {"log", "show", "--da", "01/01/2024"}, {"log"},
          {"log", "clear", "now"}}) {
        EXPECT_EQ(run(args), kUsage) << args.back();
    }
    EXPECT_EQ(run({"log", "show"}), kOk);
    const std::string shown = out.str();
    EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), 5) << "nothing was changed";
}

}  // namespace
}  // namespace ombrix::app
