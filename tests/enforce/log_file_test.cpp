// The visited-sites log's own file: made beside the store, filled from the
// store once, refused when it is something else, and never a reason for the
// timers to stop.
#include "enforce/log_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "enforce/site_log.h"
#include "fakes/fake_enforcement.h"
#include "fakes/fixtures.h"
#include "platform/failures.h"
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

    ASSERT_TRUE(insertLogRow(log, {2024, 3, 6, 9, 0, 0}, "http://nuovo.it/"));
    ASSERT_TRUE(openIt().ok());
    EXPECT_EQ(urls(log).size(), 3u) << "not copied again";
    ASSERT_TRUE(clearLog(log));
    ASSERT_TRUE(openIt().ok());
    EXPECT_EQ(urls(log), Entries{}) << "an emptied log stays empty";

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
        const char* name;
        const char* sql;  // nullptr: `bytes` is the file
        std::string_view bytes;
    } cases[] = {
        {"a view that never ends",
         "CREATE VIEW LogSiti AS WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n) "
         "SELECT x AS DataOra, x AS URL FROM n;",
         {}},
        {"a trigger",
         "CREATE TABLE LogSiti(DataOra DateTime, URL Text(255));"
         "CREATE TRIGGER t AFTER INSERT ON LogSiti BEGIN SELECT count(*) FROM pragma_function_list; END;",
         {}},
        {"other columns", "CREATE TABLE LogSiti(DataOra DateTime, URL Text(255), Extra DEFAULT (randomblob(9)));", {}},
        {"a check", "CREATE TABLE LogSiti(DataOra DateTime, URL Text(255) CHECK (length(URL) < 5));", {}},
        {"no log table", "CREATE TABLE Altro(x);", {}},
        {"not a database", nullptr, "This is no database, only text that fills the first page. 0123456789abcdef"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
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
        EXPECT_FALSE(log.isOpen());
        EXPECT_EQ(readWholeFile(path).value(), before);
    }
    // What the file names is shown on one line.
    std::filesystem::remove_all(dir.path() / "Registro");
    std::filesystem::create_directories(dir.path() / "Registro");
    {
        core::Database crafted;
        ASSERT_TRUE(crafted.open(path, core::Database::Mode::CreateIfMissing));
        ASSERT_TRUE(crafted.exec("CREATE TABLE \"a\nb\x7f c\"(x);")) << crafted.lastError();
    }
    const std::string detail = openIt().detail();
    EXPECT_NE(detail.find("a?b? c"), std::string::npos) << detail;
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
    EXPECT_EQ(db.scalar("SELECT count(*) FROM t;").toInteger(), 0);
    EXPECT_GT(db.scalar("SELECT count(*) FROM pragma_function_list;").toInteger(), 0) << "typed by us, it runs";

    ASSERT_TRUE(db.exec("PRAGMA writable_schema = ON;"));
    EXPECT_FALSE(db.exec("UPDATE sqlite_master SET sql = 'CREATE TABLE t(y)' WHERE name = 't';"));
}

TEST(LogTimer, ALogThatCannotBeWrittenIsTriedAgainLaterAndStopsNothing) {
    test::EnforcementRig rig;
    rig.use(0);
    rig.host.log = true;
    // A file where the log's folder should be: the log cannot be made.
    test::writeFile(rig.dir.file("Registro"), "x");
    rig.browsers.open(rig.browsers.chrome, "http://a.it/");
    const std::size_t failures = platform::recentFailures().size();
    rig.enforcement->tickSiteLog();
    rig.browsers.chrome.address = "http://b.it/";
    rig.clock.ms += VisitedSitesLog::kRetryMilliseconds - 1;
    rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.enforcement->holders().chromeLastLogged, "http://b.it/") << "the timer went on";
    const auto traced = platform::recentFailures();
    ASSERT_EQ(traced.size(), std::min(failures + 1, platform::kFailuresKept)) << "one attempt, traced once";
    EXPECT_NE(traced.back().what.find("cannot be opened"), std::string::npos) << traced.back().what;

    std::filesystem::remove(rig.dir.path() / "Registro");
    rig.browsers.chrome.address = "http://c.it/";
    rig.clock.ms += 1;
    rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.loggedUrls(), (Entries{"http://a.it/", "http://b.it/", "http://c.it/"})) << "the visits waited";
}

}  // namespace
}  // namespace ombrix::enforce
