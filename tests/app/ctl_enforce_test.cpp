// ombrixctl check and log, on a store file as an administrator's script uses them.
#include <gtest/gtest.h>

#include <algorithm>

#include "app/ctl_fixture.h"
#include "core/database.h"
#include "core/schema.h"

namespace ombrix::app {
namespace {

class CtlEnforce : public CtlFixture {
protected:
    CtlEnforce() : CtlFixture("0238=Data iniziale mancante\r\n0242=Data finale errata\r\n") {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
        core::Database store;
        EXPECT_TRUE(store.open(db));
        EXPECT_TRUE(store.exec(
            "INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti) VALUES (2, 'Scuola', -1), (3, 'Chiosco', 0), "
            "(4, '2', -1);"
            "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (2, '*casino'), (2, 'giochi.it/poker'), "
            "(2, '.Poker.com'), (3, '.scuola.it'), (3, 'wikipedia.org'), (4, '*sette');"
            "INSERT INTO LogSiti (DataOra, URL) VALUES ('2024-03-04 10:00:00', 'http://ieri.it/'), "
            "('2024-03-05 00:00:00', 'http://mezzanotte.it/'), ('2024-03-05 14:07:09', 'http://l''arte.it/'), "
            "('2024-03-06 00:00:00', 'http://fine.it/'), ('2024-03-06 08:00:00', 'http://dopo.it/');"));
    }
    int run(std::vector<std::string> args, const std::string& input = {}) {
        args.insert(args.begin(), {"--db", db});
        return ctl(args, input);
    }

    std::string db = dir.file("DataBase.db");
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
        {"2", "https://news.poker.com/", "blocked 0182 .Poker.com\n"},
        {"Scuola", "https://giochi.it/", "allowed\n"},
        {"Chiosco", "https://it.wikipedia.org/", "blocked 0182\n"},
        {"3", "https://wikipedia.org/wiki/Roma", "allowed wikipedia.org\n"},
        {"3", "about:newtab,", "allowed\n"},
        {"3", "", "allowed\n"},
        {"2", "http://sette.it/", "allowed\n"},  // identifier 2, not the profile named "2"
        {"4", "http://sette.it/", "blocked 0180 *sette\n"},
        {"1", "http://sette.it/", "allowed\n"},  // the delivered profile enforces nothing
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
    EXPECT_NE(err.str().find("no profile Nessuno"), std::string::npos);
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(run({"check", "99", "http://a.it/"}), kRefused);
    EXPECT_EQ(run({"check", "Scuola"}), kUsage);
    EXPECT_EQ(run({"check", "Scuola", "a", "b"}), kUsage);
}

// The range rules are the log viewer's (tests/enforce/site_log_test.cpp).
TEST_F(CtlEnforce, LogShowsNewestFirstWithinTheRangeAndClears) {
    EXPECT_EQ(run({"log", "show", "--from", "05/03/2024", "--to", "5/3/2024"}), kOk);
    EXPECT_EQ(out.str(),
              "2024-03-06 00:00:00\thttp://fine.it/\n2024-03-05 14:07:09\thttp://l'arte.it/\n"
              "2024-03-05 00:00:00\thttp://mezzanotte.it/\n");
    EXPECT_EQ(run({"log", "clear"}), kOk);
    EXPECT_EQ(run({"log", "show"}), kOk);
    EXPECT_EQ(out.str(), "");
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
