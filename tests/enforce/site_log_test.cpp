// The visited-sites log: what is stored, the viewer's date rules, and the
// writers of the running program.
#include "enforce/site_log.h"

#include <gtest/gtest.h>

#include "core/store.h"
#include "enforce/enforcement.h"
#include "fakes/fake_enforcement.h"
#include "fakes/fixtures.h"

namespace ombrix::enforce {
namespace {

using Entries = std::vector<std::string>;

std::string repeated(std::string_view piece, int times) {
    std::string out;
    for (int i = 0; i < times; ++i) out += piece;
    return out;
}

TEST(LoggedUrl, DoublesApostrophesBeforeTheCut) {
    const std::string long300(300, 'a');
    struct Case {
        std::string address;
        std::string stored;
    };
    const Case cases[] = {
        {"http://a.it/l'arte", "http://a.it/l'arte"},
        {long300, std::string(255, 'a')},
        {std::string(254, 'a') + "'b", std::string(254, 'a')},  // the cut split the pair
        {std::string(253, 'a') + "'b", std::string(253, 'a') + "'"},
        {repeated("é", 250) + "xyzuvw", repeated("é", 250) + "xyzuv"},  // characters, not bytes
        {"''", "''"},
        {"", ""},
    };
    for (const auto& c : cases) EXPECT_EQ(loggedUrl(c.address), c.stored) << c.address.size();
}

TEST(LogDates, ParseAndCheck) {
    EXPECT_EQ(parseLogDate("05/03/2024"), (LogDate{2024, 3, 5}));
    EXPECT_EQ(parseLogDate(" 5/3/2024 "), (LogDate{2024, 3, 5}));
    EXPECT_EQ(parseLogDate("29/02/2024"), (LogDate{2024, 2, 29}));
    for (const char* bad : {"", "29/02/2023", "31/04/2024", "00/01/2024", "01/13/2024", "1/1/24", "01-01-2024",
                            "01/01/2024/1", "aa/01/2024", "001/01/2024", "01/01/0999", "31/12/9999"}) {
        EXPECT_FALSE(parseLogDate(bad).has_value()) << bad;
    }
    EXPECT_EQ(nextDay({2024, 2, 28}), (LogDate{2024, 2, 29}));
    EXPECT_EQ(nextDay({2023, 12, 31}), (LogDate{2024, 1, 1}));
    EXPECT_EQ(displayLogDate({2024, 3, 5}), "05/03/2024");

    struct Case {
        const char* from;
        const char* to;
        MessageId message;
    };
    const Case cases[] = {
        {"01/03/2024", "05/03/2024", {}},
        {"", "05/03/2024", msg::StartDateInvalid},
        {"1.3.2024", "05/03/2024", msg::StartDateHowToWrite},
        {"31/02/2024", "05/03/2024", msg::StartDateCorrectAndRetry},
        {"01/03/2024", "  ", msg::EndDateInvalid},
        {"01/03/2024", "ieri", msg::EndDateHowToWrite},
        {"01/03/2024", "32/03/2024", msg::EndDateCorrectAndRetry},
        {"05/03/2024", "01/03/2024", {}},
    };
    for (const auto& c : cases) {
        const LogRangeCheck r = checkLogRange(c.from, c.to);
        EXPECT_EQ(r.message, c.message) << c.from << " - " << c.to;
    }
}

class LogStore : public ::testing::Test {
protected:
    void add(const char* when, const char* url) {
        ASSERT_TRUE(db.run("INSERT INTO LogSiti (DataOra, URL) VALUES (?, ?);", {core::Value(when), core::Value(url)}));
    }
    std::vector<std::string> urls(const std::optional<LogDate>& from, const std::optional<LogDate>& to) {
        const auto rows = readLog(db, from, to);
        EXPECT_TRUE(rows.has_value());
        std::vector<std::string> out;
        for (const auto& r : rows.value_or(std::vector<LogRow>{})) out.push_back(r.url);
        return out;
    }
    core::Database db = test::deliveredStore();
};

TEST_F(LogStore, RangeRunsToTheEndOfTheToDayNewestFirst) {
    add("2024-03-04 23:59:59", "ieri");
    add("2024-03-05 00:00:00", "mezzanotte");
    add("2024-03-05 14:07:09", "oggi");
    add("2024-03-05 23:59:59", "tardi");
    add("2024-03-06 00:00:00", "mezzanotte dopo");
    add("2024-03-06 00:00:01", "domani");
    add("2024-03-05 14:07:09", "oggi, stessa ora");
    EXPECT_EQ(urls(LogDate{2024, 3, 5}, LogDate{2024, 3, 5}),
              (Entries{"mezzanotte dopo", "tardi", "oggi, stessa ora", "oggi", "mezzanotte"}));
    EXPECT_EQ(urls(std::nullopt, LogDate{2024, 3, 4}), (Entries{"mezzanotte", "ieri"}));
    EXPECT_EQ(urls(LogDate{2024, 3, 6}, std::nullopt), (Entries{"domani", "mezzanotte dopo"}));
    EXPECT_EQ(urls(std::nullopt, std::nullopt).size(), 7u);
    EXPECT_EQ(urls(LogDate{2024, 3, 6}, LogDate{2024, 3, 1}), Entries{}) << "a reversed range is empty";
}

TEST_F(LogStore, WritesClearsAndSwitches) {
    ASSERT_TRUE(insertLogRow(db, {2024, 3, 5, 0, 0, 0}, "http://a.it/l'arte"));
    const auto rows = readLog(db, std::nullopt, std::nullopt);
    ASSERT_TRUE(rows && rows->size() == 1);
    EXPECT_EQ((*rows)[0].dateTime, "2024-03-05 00:00:00");
    EXPECT_EQ((*rows)[0].url, "http://a.it/l'arte");
    EXPECT_TRUE(clearLog(db));
    EXPECT_EQ(urls(std::nullopt, std::nullopt), Entries{});

    EXPECT_TRUE(writeLogSwitch(db, true));
    EXPECT_EQ(core::ReadField(db, "Opzioni", "LogSiti", core::kOptionsRow).toInteger(), -1);
    EXPECT_TRUE(writeLogSwitch(db, false));
    EXPECT_EQ(core::ReadField(db, "Opzioni", "LogSiti", core::kOptionsRow).toInteger(), 0);

    core::Database old = test::oldestStore();
    EXPECT_FALSE(readLog(old, std::nullopt, std::nullopt).has_value()) << "no LogSiti table before the upgrade";
}

TEST(logVisitedSite, ForbiddenPagesAreNeverLoggedAndAllowedListsLogOnlyTheirPages) {
    struct Case {
        const char* name;
        long long profile;  // 0: none in use
        bool forbiddenList;
        const char* address;
        bool logged;
    };
    const Case cases[] = {
        {"forbidden page", 2, true, "http://poker.com/", false},
        {"other page, forbidden list", 2, true, "http://scuola.it/", true},
        {"listed page, allowed list", 2, false, "http://poker.com/", true},
        {"other page, allowed list", 2, false, "http://scuola.it/", false},
        {"exempt page, allowed list", 2, false, "about:blank", false},
        {"no profile: everything", 0, true, "http://poker.com/", true},
        {"an empty address is no visit", 0, true, "", false},
    };
    for (const auto& c : cases) {
        test::EnforcementRig rig;
        rig.addProfile(2, c.forbiddenList, {".poker.com"});
        rig.use(2);
        rig.host.profile = c.profile;
        rig.enforcement->logVisitedSite(c.address);
        EXPECT_EQ(rig.loggedUrls().size(), c.logged ? 1u : 0u) << c.name;
    }
}

TEST(LogTimer, LogsEachBrowsersChangesOnce) {
    test::EnforcementRig rig;
    rig.use(0);
    rig.host.log = true;
    rig.clock.time = {2024, 3, 5, 9, 0, 0};
    rig.browsers.open(rig.browsers.chrome, "http://a.it/");
    rig.browsers.open(rig.browsers.edge, "http://b.it/");
    rig.browsers.open(rig.browsers.firefox, "\"http://c.it/\"");
    rig.browsers.shellList = "1§http://d.it/|2§http://e.it/|";
    rig.host.internalAddresses = {"http://f.it/"};
    for (int i = 0; i < 4; ++i) rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.loggedUrls(),
              (Entries{"http://d.it/", "http://e.it/", "http://b.it/", "http://c.it/", "http://a.it/"}))
        << "Internet Explorer, Edge, Firefox (quotes removed), Chrome; the internal browser only when in use";
    EXPECT_EQ(rig.enforcement->holders().explorerAddressesLogged, (Entries{"http://d.it/", "http://e.it/"}));

    // Away and back is a new visit; an Internet Explorer address is logged once a session.
    rig.browsers.chrome.address = "http://a.it/2";
    rig.enforcement->tickSiteLog();
    rig.browsers.chrome.address = "http://a.it/";
    rig.browsers.shellList = "1§http://e.it/|";
    rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.loggedUrls().size(), 7u);

    // A closed browser reads "": nothing is written, and its page counts again later.
    rig.processes.running.clear();
    rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.loggedUrls().size(), 7u);
    EXPECT_EQ(rig.enforcement->holders().chromeLastLogged, "");
    rig.browsers.open(rig.browsers.chrome, "http://a.it/");
    rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.loggedUrls().size(), 8u);

    rig.host.log = false;
    rig.browsers.chrome.address = "http://z.it/";
    rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.loggedUrls().size(), 8u) << "the switch is read before logging";
}

TEST(LogTimer, InternalBrowserWindowsWhenInUse) {
    test::EnforcementRig rig;
    core::ProfileSwitches s;
    s.internalBrowser = true;
    rig.use(0, s);
    rig.host.log = true;
    rig.host.internalAddresses = {"http://f.it/", "http://g.it/"};
    rig.enforcement->tickSiteLog();
    rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.loggedUrls(), (Entries{"http://f.it/", "http://g.it/"}));
}

}  // namespace
}  // namespace ombrix::enforce
