// The visited-sites log: what is stored, the viewer's date rules, its own
// file, and the writers of the running program.
#include "enforce/site_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "core/store.h"
#include "enforce/enforcement.h"
#include "enforce/log_file.h"
#include "fakes/fake_enforcement.h"
#include "platform/files.h"

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
                            "01/01/2024/1", "1:/01/2024", "001/01/2024", "01/01/0999", "31/12/9999"}) {
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

TEST(LogStore, RangeRunsToTheEndOfTheToDayNewestFirstAndTheSwitchIsStored) {
    core::Database db = test::deliveredStore();
    ASSERT_TRUE(db.exec("INSERT INTO LogSiti (DataOra, URL) VALUES ('2024-03-04 23:59:59', 'ieri'), "
                        "('2024-03-05 00:00:00', 'mezzanotte'), ('2024-03-05 14:07:09', 'oggi'), "
                        "('2024-03-06 00:00:00', 'mezzanotte dopo'), ('2024-03-06 00:00:01', 'domani'), "
                        "('2024-03-05 14:07:09', 'oggi, stessa ora');"));
    ASSERT_TRUE(insertLogRow(db, {2024, 3, 2, 0, 0, 0}, "http://a.it/l'arte"));
    const auto urls = [&](std::optional<LogDate> from, std::optional<LogDate> to) {
        Entries out;
        for (const auto rows = readLog(db, from, to); const auto& r : rows.value()) out.push_back(r.dateTime + " " + r.url);
        return out;
    };
    EXPECT_EQ(urls(LogDate{2024, 3, 5}, LogDate{2024, 3, 5}),
              (Entries{"2024-03-06 00:00:00 mezzanotte dopo", "2024-03-05 14:07:09 oggi, stessa ora",
                       "2024-03-05 14:07:09 oggi", "2024-03-05 00:00:00 mezzanotte"}));
    EXPECT_EQ(urls(std::nullopt, LogDate{2024, 3, 2}), Entries{"2024-03-02 00:00:00 http://a.it/l'arte"});
    EXPECT_EQ(urls(LogDate{2024, 3, 6}, std::nullopt).size(), 2u);
    EXPECT_EQ(urls(LogDate{2024, 3, 6}, LogDate{2024, 3, 1}), Entries{}) << "a reversed range is empty";
    EXPECT_TRUE(clearLog(db) && urls(std::nullopt, std::nullopt).empty());
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
        {2, true, "http://poker.com/", false}, {2, true, "http://scuola.it/", true},
        {2, false, "http://poker.com/", true}, {2, false, "http://scuola.it/", false},
        {2, false, "about:blank", false},      {0, true, "http://poker.com/", true},
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
    auto& chrome = rig.browsers.chrome;
    rig.browsers.open(chrome, "http://a.it/");
    rig.browsers.open(rig.browsers.edge, "http://b.it/");
    rig.browsers.open(rig.browsers.firefox, "\"http://c.it/\"");
    rig.browsers.shellList = "1§http://d.it/|2§http://e.it/|";
    rig.host.internalAddresses = {"http://f.it/"};
    for (int i = 0; i < 4; ++i) rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.loggedUrls(), (Entries{"http://d.it/", "http://e.it/", "http://b.it/", "http://c.it/", "http://a.it/"}))
        << "Internet Explorer, Edge, Firefox (quotes removed), Chrome; the internal browser only when in use";
    // A closed browser reads "": nothing is written, and its page counts again later.
    rig.processes.running.clear(); rig.enforcement->tickSiteLog();
    rig.browsers.open(chrome, "http://a.it/");
    rig.browsers.shellList = "1§http://e.it/|";  // an Internet Explorer address is logged once a session
    rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.loggedUrls().size(), 6u);
    test::EnforcementRig internal;
    internal.use(0, test::switches(&core::ProfileSwitches::internalBrowser, true));
    internal.host.log = true;
    internal.host.internalAddresses = {"http://f.it/", "http://g.it/"};
    for (int i = 0; i < 2; ++i) internal.enforcement->tickSiteLog();
    EXPECT_EQ(internal.loggedUrls(), (Entries{"http://f.it/", "http://g.it/"}));
}

// Writing a row lets pending events run, so the site timer and the log timer
// can tick inside each other; each remembers an address before writing it.
TEST(LogReentry, EachTimerInsideTheOther) {
    for (const bool logInsideSite : {true, false}) {
        test::EnforcementRig rig;
        rig.host.log = true;
        rig.use(rig.addProfile(2, true, {".vietato.example"}));
        rig.browsers.open(rig.browsers.chrome, "http://scuola.example/compiti");
        rig.browsers.open(rig.browsers.edge, "http://scuola.example/edge");
        Enforcement& e = *rig.enforcement;
        bool done = false;  // the other timer ticks once, inside the write of a row
        rig.pump.during = [&] {
            if (done || rig.journal.find(logInsideSite ? "read chrome.exe" : "read msedge.exe") < 0) return;
            done = true; logInsideSite ? e.tickSiteLog() : e.tickSiteCheck();
        };
        for (int i = 0; i < 2; ++i) logInsideSite ? e.tickSiteCheck() : e.tickSiteLog();
        ASSERT_TRUE(done) << "the other timer never ticked inside";
        auto urls = rig.loggedUrls();
        std::sort(urls.begin(), urls.end());
        EXPECT_EQ(urls, (Entries{"http://scuola.example/compiti", "http://scuola.example/edge"})) << logInsideSite;
    }
}

// The log's own file: filled from the store once, refused when it is something else.
class LogFile : public ::testing::Test {
protected:
    LogOpening openIt() { return openLogFile(platform::realFileSystem(), folder, sep, store, log); }
    Entries urls(core::Database& db) {
        Entries out;
        for (const auto& r : readLog(db, std::nullopt, std::nullopt).value_or(std::vector<LogRow>{})) out.push_back(r.url);
        return out;
    }
    long long indexes() { return log.scalar("SELECT count(*) FROM sqlite_master WHERE name = 'LogSitiDataOra';").toInteger(); }
    test::TempDir dir;
    std::string folder = pathToUtf8(dir.path());
    char sep = platform::pathSeparator();
    std::string path = logFileOf(folder, sep);
    core::Database store = test::deliveredStore();
    core::Database log;
};

TEST_F(LogFile, ANewLogTakesTheStoresRowsOnceAndLeavesThemThere) {
    ASSERT_TRUE(store.exec("INSERT INTO LogSiti VALUES ('2024-03-04 10:00:00', 'http://vecchio.it/'), "
                           "('2024-03-05 10:00:00', 'http://l''arte.it/');"));
    const LogOpening first = openIt();
    ASSERT_TRUE(first.ok()) << first.detail();
    EXPECT_EQ(first.path, folder + sep + "Registro" + sep + "LogSiti.db");
    EXPECT_EQ(urls(log), (Entries{"http://l'arte.it/", "http://vecchio.it/"}));
    EXPECT_EQ(indexes(), 1);
    EXPECT_EQ(urls(store).size(), 2u) << "the store's rows stay";
    ASSERT_TRUE(clearLog(log) && openIt().ok());
    EXPECT_EQ(urls(log), Entries{}) << "an emptied log is not filled again";
    // A log whose index went missing gets it back, its rows kept.
    ASSERT_TRUE(insertLogRow(log, {2024, 3, 6, 9, 0, 0}, "http://nuovo.it/") && log.exec("DROP INDEX LogSitiDataOra;"));
    ASSERT_TRUE(openIt().ok());
    EXPECT_EQ(urls(log), Entries{"http://nuovo.it/"});
    EXPECT_EQ(indexes(), 1);
}

// Any user may put a file of their own in the log's place.
TEST_F(LogFile, AFileThatIsNotALogIsRefusedUntouched) {
    const std::pair<const char*, const char*> cases[] = {  // the schema (nullptr: a text file), what the refusal names
        {"CREATE VIEW LogSiti AS WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n) "
         "SELECT x AS DataOra, x AS URL FROM n;", "view LogSiti"},
        {"CREATE TABLE LogSiti(DataOra DateTime, URL Text(255));"
         "CREATE TRIGGER t AFTER INSERT ON LogSiti BEGIN SELECT count(*) FROM pragma_function_list; END;", "trigger t"},
        {"CREATE TABLE \"a\nb\x7f c\"(x);", "a?b? c"},  // on one line
        {nullptr, ""},
    };
    for (const auto& [sql, detail] : cases) {
        SCOPED_TRACE(detail);
        std::filesystem::remove_all(dir.path() / "Registro");
        if (sql) {
            std::filesystem::create_directories(dir.path() / "Registro");
            core::Database crafted;
            ASSERT_TRUE(crafted.open(path, core::Database::Mode::CreateIfMissing) && crafted.exec(sql));
        } else {
            test::writeFile(path, "This is no database, only text that fills the first page. 0123456789abcdef");
        }
        const std::string before = readWholeFile(path).value();
        const LogOpening r = openIt();
        EXPECT_EQ(r.outcome, LogOpening::Outcome::NotALog) << r.detail();
        EXPECT_EQ(r.messageId(), msg::LogNotOurs);
        EXPECT_NE(r.detail().find(detail), std::string::npos) << r.detail();
        EXPECT_FALSE(log.isOpen());
        EXPECT_EQ(readWholeFile(path).value(), before);
    }
}

// The log locked by another process (its writes refused) or its folder impossible
// to make (its opening refused): the enforcement goes on, the log is tried again
// after a pause, and the visits met meanwhile are written then.
TEST(LogFaults, VisitsMetWhileTheLogFailsAreWrittenLaterAndTheEnforcementGoesOn) {
    enum class Fault { None, Busy, NoFolder };
    Entries withoutFault;
    for (const Fault fault : {Fault::None, Fault::Busy, Fault::NoFolder}) {
        SCOPED_TRACE(static_cast<int>(fault));
        test::EnforcementRig rig;
        rig.use(rig.addProfile(2, true, {"giochi.it"}));
        rig.host.log = true;
        core::Database other;
        const std::string folder = pathToUtf8(rig.dir.path());
        ASSERT_TRUE(openLogFile(platform::realFileSystem(), folder, platform::pathSeparator(), rig.db, other).ok());
        ASSERT_TRUE(fault != Fault::Busy || other.exec("BEGIN EXCLUSIVE;"));
        if (fault == Fault::NoFolder) {
            other.close();
            std::filesystem::remove_all(rig.dir.path() / "Registro");
            test::writeFile(rig.dir.file("Registro"), "x");  // a file where the folder goes
        }
        auto& chrome = rig.browsers.chrome;
        rig.browsers.open(chrome, "http://a.it/"); rig.enforcement->tickSiteCheck();
        chrome.address = "http://www.giochi.it/"; chrome.afterClose = {"http://a.it/"};
        rig.enforcement->tickSiteCheck();
        EXPECT_EQ(rig.entries("ctrl+w"), Entries{"ctrl+w chrome.exe"}) << "a forbidden page is closed all the same";
        chrome.address = "http://b.it/"; rig.clock.ms += 1000; rig.enforcement->tickSiteCheck();
        ASSERT_TRUE(fault != Fault::Busy || other.exec("COMMIT;"));
        if (fault == Fault::NoFolder) std::filesystem::remove(rig.dir.path() / "Registro");
        chrome.address = "http://c.it/";
        rig.clock.ms += VisitedSitesLog::kRetryMilliseconds - 1000; rig.enforcement->tickSiteCheck();  // to the pause's end
        if (fault == Fault::None) withoutFault = rig.loggedUrls();
        EXPECT_EQ(rig.loggedUrls(), withoutFault) << "every visit, in the order met";
    }
    EXPECT_EQ(std::count(withoutFault.begin(), withoutFault.end(), "http://b.it/"), 1);
    EXPECT_EQ(withoutFault.back(), "http://c.it/");
}

}  // namespace
}  // namespace ombrix::enforce
