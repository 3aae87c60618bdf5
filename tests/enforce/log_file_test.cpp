// The visited-sites log's own file: made beside the store, filled from the
// store once, refused when it is something else, and never a reason for the
// timers to stop.
#include "enforce/log_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "enforce/enforcement.h"
#include "enforce/site_log.h"
#include "fakes/failing_disk.h"
#include "fakes/fake_enforcement.h"
#include "fakes/fixtures.h"
#include "platform/files.h"
#include "platform/system.h"

namespace ombrix::enforce {
namespace {

using Entries = std::vector<std::string>;

class LogFile : public ::testing::Test {
protected:
    LogOpening openIt() { return openLogFile(platform::realFileSystem(), folder, sep, store, log); }
    Entries urls(core::Database& db) {
        Entries out;
        for (const auto& r : readLog(db, std::nullopt, std::nullopt).value_or(std::vector<LogRow>{})) {
            out.push_back(r.url);
        }
        return out;
    }

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
    EXPECT_EQ(log.scalar("SELECT count(*) FROM sqlite_master WHERE name = 'LogSitiDataOra';").toInteger(), 1);
    EXPECT_EQ(urls(store).size(), 2u) << "the store's rows stay";

    ASSERT_TRUE(clearLog(log));
    ASSERT_TRUE(openIt().ok());
    EXPECT_EQ(urls(log), Entries{}) << "an emptied log is not filled again";

    // A log whose index went missing gets it back, its rows kept.
    ASSERT_TRUE(insertLogRow(log, {2024, 3, 6, 9, 0, 0}, "http://nuovo.it/"));
    ASSERT_TRUE(log.exec("DROP INDEX LogSitiDataOra;"));
    ASSERT_TRUE(openIt().ok());
    EXPECT_EQ(urls(log), Entries{"http://nuovo.it/"});
    EXPECT_EQ(log.scalar("SELECT count(*) FROM sqlite_master WHERE name = 'LogSitiDataOra';").toInteger(), 1);
}

// Any user may put a file of their own in the log's place.
TEST_F(LogFile, AFileThatIsNotALogIsRefusedUntouched) {
    const struct {
        const char* sql;  // nullptr: `bytes` is the file
        std::string_view bytes;
        const char* detail;  // what the refusal names, on one line
    } cases[] = {
        {"CREATE VIEW LogSiti AS WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n) "
         "SELECT x AS DataOra, x AS URL FROM n;",
         {}, "view LogSiti"},
        {"CREATE TABLE LogSiti(DataOra DateTime, URL Text(255));"
         "CREATE TRIGGER t AFTER INSERT ON LogSiti BEGIN SELECT count(*) FROM pragma_function_list; END;",
         {}, "trigger t"},
        {"CREATE TABLE LogSiti(DataOra DateTime, URL Text(255), Extra DEFAULT (randomblob(9)));", {}, "LogSiti"},
        {"CREATE TABLE \"a\nb\x7f c\"(x);", {}, "a?b? c"},
        {nullptr, "This is no database, only text that fills the first page. 0123456789abcdef", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.detail);
        std::filesystem::remove_all(dir.path() / "Registro");
        if (c.sql) {
            std::filesystem::create_directories(dir.path() / "Registro");
            core::Database crafted;
            ASSERT_TRUE(crafted.open(path, core::Database::Mode::CreateIfMissing));
            ASSERT_TRUE(crafted.exec(c.sql)) << crafted.lastError();
        } else {
            test::writeFile(path, c.bytes);
        }
        const std::string before = readWholeFile(path).value();
        const LogOpening r = openIt();
        EXPECT_EQ(r.outcome, LogOpening::Outcome::NotALog) << r.detail();
        EXPECT_EQ(r.messageId(), msg::LogNotOurs);
        EXPECT_NE(r.detail().find(c.detail), std::string::npos) << r.detail();
        EXPECT_FALSE(log.isOpen());
        EXPECT_EQ(readWholeFile(path).value(), before);
    }
}

// Whatever a file's schema holds cannot act through our connection: no
// virtual table with side effects from a view or a trigger, no schema written
// around the engine.
TEST(Database, NeverTrustsTheFilesSchema) {
    test::TempDir dir;
    core::Database db;
    ASSERT_TRUE(db.open(dir.file("x.db"), core::Database::Mode::CreateIfMissing));
    ASSERT_TRUE(db.exec("CREATE TABLE t(x); CREATE VIEW v AS SELECT name FROM pragma_function_list;"
                        "CREATE TRIGGER tr AFTER INSERT ON t BEGIN SELECT count(*) FROM pragma_function_list; END;"));
    EXPECT_FALSE(db.exec("SELECT * FROM v;"));
    EXPECT_NE(db.lastError().find("unsafe use"), std::string::npos) << db.lastError();
    EXPECT_FALSE(db.exec("INSERT INTO t VALUES (1);"));
    EXPECT_GT(db.scalar("SELECT count(*) FROM pragma_function_list;").toInteger(), 0) << "typed by us, it runs";

    ASSERT_TRUE(db.exec("PRAGMA writable_schema = ON;"));
    EXPECT_FALSE(db.exec("UPDATE sqlite_master SET sql = 'CREATE TABLE t(y)' WHERE name = 't';"));
}

// Another process holds the log locked (an administrator's SQLite shell, a
// backup), its disk is full, it may not be written, or its folder cannot be
// made: the enforcement goes on, the log is tried again after a pause, and
// the visits met meanwhile are written then.
TEST(LogFaults, VisitsMetWhileTheLogFailsAreWrittenLaterAndTheEnforcementGoesOn) {
    enum class Fault { None, Busy, DiskFull, ReadOnly, NoFolder };
    Entries withoutFault;
    for (const Fault fault : {Fault::None, Fault::Busy, Fault::DiskFull, Fault::ReadOnly, Fault::NoFolder}) {
        SCOPED_TRACE(static_cast<int>(fault));
        test::FailingDisk disk("LogSiti");
        test::EnforcementRig rig;
        rig.addProfile(2, true, {"giochi.it"});
        rig.use(2);
        rig.host.log = true;
        core::Database other;
        ASSERT_TRUE(openLogFile(platform::realFileSystem(), pathToUtf8(rig.dir.path()), platform::pathSeparator(),
                                rig.db, other)
                        .ok());
        ASSERT_TRUE(fault != Fault::Busy || other.exec("BEGIN EXCLUSIVE;"));
        if (fault != Fault::None && fault != Fault::Busy) other.close();
        if (fault == Fault::NoFolder) {
            std::filesystem::remove_all(rig.dir.path() / "Registro");
            test::writeFile(rig.dir.file("Registro"), "x");
        }
        if (fault == Fault::DiskFull) disk.fault = test::FailingDisk::Fault::Full;
        if (fault == Fault::ReadOnly) disk.fault = test::FailingDisk::Fault::ReadOnly;
        Enforcement& e = *rig.enforcement;
        rig.browsers.open(rig.browsers.chrome, "http://a.it/");
        e.tickSiteCheck();
        rig.browsers.chrome.address = "http://www.giochi.it/";
        rig.browsers.chrome.afterClose = {"http://a.it/"};
        e.tickSiteCheck();
        EXPECT_EQ(rig.entries("ctrl+w"), Entries{"ctrl+w chrome.exe"}) << "a forbidden page is closed all the same";
        rig.browsers.chrome.address = "http://b.it/";
        rig.clock.ms += 1000;
        e.tickSiteCheck();

        ASSERT_TRUE(fault != Fault::Busy || other.exec("COMMIT;"));
        disk.fault = test::FailingDisk::Fault::None;
        if (fault == Fault::NoFolder) std::filesystem::remove(rig.dir.path() / "Registro");
        rig.browsers.chrome.address = "http://c.it/";
        rig.clock.ms += VisitedSitesLog::kRetryMilliseconds - 1000;  // the first failure's pause, to the end
        e.tickSiteCheck();
        if (fault == Fault::None) {
            withoutFault = rig.loggedUrls();
            EXPECT_EQ(std::count(withoutFault.begin(), withoutFault.end(), "http://b.it/"), 1);
            EXPECT_EQ(withoutFault.back(), "http://c.it/");
        }
        EXPECT_EQ(rig.loggedUrls(), withoutFault) << "every visit, in the order met";
    }
}

}  // namespace
}  // namespace ombrix::enforce
