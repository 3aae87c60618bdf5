// The visited-sites log: what is stored, the viewer's date rules, and the
// writers of the running program.
#include "enforce/site_log.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/store.h"
#include "enforce/enforcement.h"
#include "fakes/fake_enforcement.h"
#include "fakes/fixtures.h"

namespace ombrix::enforce {
namespace {

using Entries = std::vector<std::string>;

TEST(LoggedUrl, DoublesApostrophesBeforeTheCut) {
    std::string accented;
    for (int i = 0; i < 250; ++i) accented += "é";
    const std::pair<std::string, std::string> cases[] = {
        {"http://a.it/l'arte", "http://a.it/l'arte"},
        {std::string(254, 'a') + "'b", std::string(254, 'a')},  // the cut split the pair
        {std::string(253, 'a') + "'b", std::string(253, 'a') + "'"},
        {accented + "xyzuvw", accented + "xyzuv"},  // characters, not bytes
    };
    for (const auto& [address, stored] : cases) EXPECT_EQ(loggedUrl(address), stored) << address.size();
}

TEST(LogDates, ParseAndCheck) {
    EXPECT_EQ(parseLogDate(" 5/3/2024 "), (LogDate{2024, 3, 5}));
    EXPECT_EQ(parseLogDate("29/02/2024"), (LogDate{2024, 2, 29}));
    for (const char* bad : {"", "29/02/2023", "31/04/2024", "00/01/2024", "01/13/2024", "1/1/24", "01-01-2024",
                            "01/01/2024/1", "aa/01/2024", "1:/01/2024", "001/01/2024", "01/01/0999", "31/12/9999"}) {
        EXPECT_FALSE(parseLogDate(bad).has_value()) << bad;
    }
    EXPECT_EQ(nextDay({2024, 2, 28}), (LogDate{2024, 2, 29}));
    EXPECT_EQ(nextDay({2023, 12, 31}), (LogDate{2024, 1, 1}));
    EXPECT_EQ(displayLogDate({2024, 3, 5}), "05/03/2024");

    const std::tuple<const char*, const char*, MessageId> cases[] = {
        {"05/03/2024", "01/03/2024", {}},
        {"", "05/03/2024", msg::StartDateInvalid},
        {"1.3.2024", "05/03/2024", msg::StartDateHowToWrite},
        {"31/02/2024", "05/03/2024", msg::StartDateCorrectAndRetry},
        {"01/03/2024", "  ", msg::EndDateInvalid},
        {"01/03/2024", "ieri", msg::EndDateHowToWrite},
        {"01/03/2024", "32/03/2024", msg::EndDateCorrectAndRetry},
    };
    for (const auto& [from, to, message] : cases) EXPECT_EQ(checkLogRange(from, to).message, message) << from << to;
}

class LogStore : public ::testing::Test {
protected:
    Entries urls(const std::optional<LogDate>& from, const std::optional<LogDate>& to) {
        const auto rows = readLog(db, from, to);
        EXPECT_TRUE(rows.has_value());
        Entries out;
        for (const auto& r : rows.value_or(std::vector<LogRow>{})) out.push_back(r.url);
        return out;
    }
    core::Database db = test::deliveredStore();
};

TEST_F(LogStore, RangeRunsToTheEndOfTheToDayNewestFirst) {
    ASSERT_TRUE(db.exec("INSERT INTO LogSiti (DataOra, URL) VALUES ('2024-03-04 23:59:59', 'ieri'), "
                        "('2024-03-05 00:00:00', 'mezzanotte'), ('2024-03-05 14:07:09', 'oggi'), "
                        "('2024-03-06 00:00:00', 'mezzanotte dopo'), ('2024-03-06 00:00:01', 'domani'), "
                        "('2024-03-05 14:07:09', 'oggi, stessa ora');"));
    EXPECT_EQ(urls(LogDate{2024, 3, 5}, LogDate{2024, 3, 5}),
              (Entries{"mezzanotte dopo", "oggi, stessa ora", "oggi", "mezzanotte"}));
    EXPECT_EQ(urls(std::nullopt, LogDate{2024, 3, 4}), (Entries{"mezzanotte", "ieri"}));
    EXPECT_EQ(urls(LogDate{2024, 3, 6}, std::nullopt), (Entries{"domani", "mezzanotte dopo"}));
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

    for (const bool on : {true, false}) {
        EXPECT_TRUE(writeLogSwitch(db, on));
        EXPECT_EQ(core::ReadField(db, "Opzioni", "LogSiti", core::kOptionsRow).toInteger(), on ? -1 : 0);
    }
    core::Database old = test::oldestStore();
    EXPECT_FALSE(readLog(old, std::nullopt, std::nullopt).has_value()) << "no LogSiti table before the upgrade";
}

TEST(logVisitedSite, ForbiddenPagesAreNeverLoggedAndAllowedListsLogOnlyTheirPages) {
    const std::tuple<long long, bool, const char*, bool> cases[] = {
        // the profile in use (0: none), a forbidden list, the address, logged
        {2, true, "http://poker.com/", false},
        {2, true, "http://scuola.it/", true},
        {2, false, "http://poker.com/", true},
        {2, false, "http://scuola.it/", false},
        {2, false, "about:blank", false},
        {0, true, "http://poker.com/", true},
        {0, true, "", false},  // an empty address is no visit
    };
    for (const auto& [profile, forbiddenList, address, logged] : cases) {
        test::EnforcementRig rig;
        rig.addProfile(2, forbiddenList, {".poker.com"});
        rig.use(2);
        rig.host.profile = profile;
        rig.enforcement->logVisitedSite(address);
        EXPECT_EQ(rig.loggedUrls().size(), logged ? 1u : 0u) << profile << forbiddenList << address;
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

    // Away and back is a new visit; an Internet Explorer address is logged once a session.
    rig.browsers.chrome.address = "http://a.it/2";
    rig.browsers.firefox.address = "http://c.it/2";
    rig.enforcement->tickSiteLog();
    rig.browsers.chrome.address = "http://a.it/";
    rig.browsers.shellList = "1§http://e.it/|";
    rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.loggedUrls().size(), 8u);

    // A closed browser reads "": nothing is written, and its page counts again later.
    rig.processes.running.clear();
    rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.enforcement->holders().chromeLastLogged, "");
    rig.browsers.open(rig.browsers.chrome, "http://a.it/");
    rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.loggedUrls().size(), 9u);

    rig.host.log = false;
    rig.browsers.chrome.address = "http://z.it/";
    rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.loggedUrls().size(), 9u) << "the switch is read before logging";

    test::EnforcementRig internal;
    core::ProfileSwitches s;
    s.internalBrowser = true;
    internal.use(0, s);
    internal.host.log = true;
    internal.host.internalAddresses = {"http://f.it/", "http://g.it/"};
    internal.enforcement->tickSiteLog();
    internal.enforcement->tickSiteLog();
    EXPECT_EQ(internal.loggedUrls(), (Entries{"http://f.it/", "http://g.it/"}));
}

// Writing a log row lets pending events run, so the site timer and the log
// timer can tick inside each other. A page must still be written once: each
// timer remembers an address as seen before it writes it.
TEST(LogReentry, EachTimerInsideTheOther) {
    for (const bool logInsideSite : {true, false}) {
        test::EnforcementRig rig;
        rig.addProfile(2, true, {".vietato.example"});
        rig.host.log = true;
        rig.use(2);
        rig.browsers.open(rig.browsers.chrome, "http://scuola.example/compiti");
        rig.browsers.open(rig.browsers.edge, "http://scuola.example/edge");
        Enforcement& e = *rig.enforcement;
        // The other timer ticks once, inside the write of a row rather than at the start of a tick.
        bool done = false;
        rig.pump.during = [&] {
            if (done || rig.journal.find(logInsideSite ? "read chrome.exe" : "read msedge.exe") < 0) return;
            done = true;
            logInsideSite ? e.tickSiteLog() : e.tickSiteCheck();
        };
        for (int i = 0; i < 2; ++i) logInsideSite ? e.tickSiteCheck() : e.tickSiteLog();
        ASSERT_TRUE(done) << "the other timer never ticked inside";
        auto urls = rig.loggedUrls();
        std::sort(urls.begin(), urls.end());
        EXPECT_EQ(urls, (Entries{"http://scuola.example/compiti", "http://scuola.example/edge"})) << logInsideSite;
    }
}

}  // namespace
}  // namespace ombrix::enforce
