// ombrixctl check, log and trace, on a store file as an administrator's script uses them.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "app/ctl_fixture.h"
#include "core/schema.h"
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
    const struct {
        const char *profile, *address, *line;
    } cases[] = {
        {"Scuola", "https://www.giochi.it/poker/tavolo", "blocked 0181 giochi.it/poker\n"},
        {"Chiosco", "https://it.wikipedia.org/", "blocked 0182\n"},
        {"#3", "https://wikipedia.org/wiki/Roma", "allowed wikipedia.org\n"},
        {"2", "http://sette.it/", "blocked 0180 *sette\n"},  // the profile named "2", not identifier 2
        {"#1", "http://sette.it/", "allowed\n"},             // the delivered profile enforces nothing
    };
    for (const auto& c : cases) {
        EXPECT_EQ(run({"check", c.profile, c.address}), kOk) << err.str();
        EXPECT_EQ(out.str(), c.line) << c.profile << " " << c.address;
    }
    EXPECT_EQ(run({"check", "Chiosco", "-"}, "https://scuola.it/\r\nhttps://video.example/\n\nabout:blank\nlast"), kOk);
    EXPECT_EQ(out.str(), "allowed .scuola.it\nblocked 0182\nallowed\nallowed\nblocked 0182\n");
    const std::string input = "https://giochi.it/\nhttp://x.org/?q=casino\n\nhttps://news.poker.com/\tx\n";
    EXPECT_EQ(run({"check", "--blocked-only", "Scuola", "-"}, input), kOk);
    EXPECT_EQ(out.str(), "2\thttp://x.org/?q=casino\t0180 *casino\n4\thttps://news.poker.com/\\tx\t0182 .Poker.com\n");
    EXPECT_EQ(run({"check", "--count", "--count", "Scuola", "-"}, input), kOk);
    EXPECT_EQ(out.str(), "checked 4, blocked 2, allowed 2\n");
    refused({"check", "--count", "--blocked-only", "Scuola", "-"}, "ombrixctl:", input, kUsage);
    refused({"check", "Scuola"}, "ombrixctl:", {}, kUsage);
}

// A damaged list is never an empty one: the store's error, not "allowed".
TEST_F(CtlEnforce, CheckSaysWhenTheStoreCannotBeRead) {
    const auto pristine = readWholeFile(db).value();
    for (const auto& [damage, error] : {std::pair{"DROP TABLE SitiVietatiConsentiti;", "no such table: SitiVietati"},
                                        {"ALTER TABLE Profili RENAME SitiProibiti TO X;", "no such column"}}) {
        test::writeFile(db, pristine);
        sql(db, damage);
        EXPECT_EQ(run({"check", "#2", "http://www.poker.com/"}), kRefused) << damage;
        EXPECT_EQ(out.str(), "");
        EXPECT_NE(err.str().find(error), std::string::npos) << err.str();
    }
}

struct FailingOutput : std::streambuf {
    int overflow(int) override { return traits_type::eof(); }
};

// Results that cannot be written are reported: a script learns they were lost.
TEST_F(CtlEnforce, AnOutputThatCannotBeWrittenExitsOne) {
    FailingOutput full;
    std::ostream sink(&full);
    std::istringstream in("http://a.it/\nhttp://b.it/\n");
    CtlEnvironment env{registry, platform::realFileSystem(), system, in, sink, err};
    EXPECT_EQ(runCtl({"--db", db, "check", "#2", "-"}, env), kRefused);
    EXPECT_NE(err.str().find("cannot write the output"), std::string::npos);
}

// The range rules are the log viewer's.
TEST_F(CtlEnforce, LogShowsNewestFirstWithinTheRangeAndClears) {
    EXPECT_EQ(run({"log", "show", "--from", "05/03/2024", "--to", "5/3/2024"}), kOk);
    EXPECT_EQ(out.str(),
              "2024-03-06 00:00:00\thttp://fine.it/\n2024-03-05 14:07:09\thttp://l'arte.it/\n"
              "2024-03-05 00:00:00\thttp://mezzanotte.it/\n");
    refused({"log", "show", "--from", ""}, "0238: Data iniziale mancante\n");
    refused({"log", "show", "--to", "domani"}, "0242: Data finale errata domani\n");
    for (const std::vector<std::string>& args : {std::vector<std::string>{"log", "show", "--from"},
                                                 {"log", "show", "--da", "01/01/2024"}, {"log", "clear", "x"}}) {
        refused(args, "ombrixctl:", {}, kUsage);
    }
    EXPECT_EQ(run({"log", "clear"}), kOk);
    EXPECT_EQ(run({"log", "show"}), kOk);
    EXPECT_EQ(out.str(), "") << "the store's old rows were copied once";
    core::Database store;
    ASSERT_TRUE(store.open(db));
    EXPECT_EQ(store.scalar("SELECT count(*) FROM LogSiti;").toInteger(), 5) << "and stay in the store";
}

// The log and the trace are files beside the store named by --db; the trace,
// which any user may write, is shown with its controls escaped.
TEST_F(CtlEnforce, LogAndTraceAreTheFilesBesideTheStore) {
    const std::string folder = dir.file("Registro") + platform::pathSeparator();
    test::writeFile(folder + "LogSiti.db", std::string(4096, 'x'));
    EXPECT_EQ(run({"log", "show"}), kRefused);
    EXPECT_EQ(err.str().rfind("0350: ", 0), 0u) << err.str();
    EXPECT_NE(err.str().find(folder + "LogSiti.db"), std::string::npos) << err.str();
    EXPECT_EQ(readWholeFile(folder + "LogSiti.db").value(), std::string(4096, 'x'));

    const std::string trace = folder + "ombrix-trace.txt";
    ASSERT_EQ(run({"trace"}), kOk);
    EXPECT_EQ(out.str(), trace + "\n");
    test::writeFile(trace, "planted \x1b[2J C:\\Dati\r\n");
    ASSERT_EQ(run({"trace", "show"}), kOk);
    EXPECT_EQ(out.str(), "planted \\x1b[2J C:\\Dati\n");
    platform::setTraceFolder({}, {});
}

}  // namespace
}  // namespace ombrix::app
