#include "app/ctl.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "app/ctl_fixture.h"
#include "core/schema.h"

namespace ombrix::app {
namespace {

class Ctl : public CtlFixture {
protected:
    Ctl() : CtlFixture("0090=Database non trovato\r\n") {}
};

TEST_F(Ctl, WrongUsageExitsWithTwo) {
    EXPECT_EQ(ctl({}), kUsage);
    EXPECT_EQ(ctl({"frobnicate"}), kUsage);
    EXPECT_NE(err.str().find("unknown command"), std::string::npos);
    EXPECT_EQ(ctl({"--db"}), kUsage);
    EXPECT_EQ(ctl({"--colour", "upgrade"}), kUsage);
    EXPECT_EQ(ctl({"init"}), kUsage);
    EXPECT_EQ(ctl({"init", "a", "b"}), kUsage);
    EXPECT_EQ(ctl({"--db", dir.file("x.db"), "upgrade", "now"}), kUsage);
    EXPECT_EQ(ctl({"--help"}), kOk);
}

TEST_F(Ctl, InitWritesTheEmptyDatabaseOnce) {
    const std::string db = dir.file("nuovo.db");
    EXPECT_EQ(ctl({"init", db}), kOk);
    EXPECT_EQ(ctl({"--db", db, "profiles"}), kOk);
    EXPECT_EQ(out.str(), "1\tNessuna restrizione\n");
    EXPECT_EQ(ctl({"--db", db, "upgrade"}), kOk);
    EXPECT_EQ(out.str(), "up to date\n");

    const auto before = readWholeFile(db);
    EXPECT_EQ(ctl({"init", db}), kRefused);
    EXPECT_EQ(readWholeFile(db), before) << "an existing file is never overwritten";
}

TEST_F(Ctl, UpgradeReportsWhatItDid) {
    const std::string path = dir.file("vecchio.db");
    {
        core::Database db;
        ASSERT_TRUE(db.open(path, core::Database::Mode::CreateIfMissing));
        ASSERT_TRUE(db.exec(test::oldestSchemaSql()));
    }
    EXPECT_EQ(ctl({"--db", path, "upgrade"}), kOk);
    EXPECT_EQ(out.str(), "upgraded\n");
    EXPECT_EQ(ctl({"--db", path, "upgrade"}), kOk);
    EXPECT_EQ(out.str(), "up to date\n");
    EXPECT_EQ(ctl({"--db", path, "profiles"}), kOk);
    EXPECT_EQ(out.str(), "1\tScuola\n2\tChiosco\n");
}

TEST_F(Ctl, AMissingDatabaseOrAnotherFileIsRefused) {
    EXPECT_EQ(ctl({"--db", dir.file("assente.db"), "profiles"}), kRefused);
    EXPECT_EQ(err.str().rfind("0090: Database non trovato", 0), 0u) << err.str();
    EXPECT_EQ(ctl({"--db", dir.file("assente.db"), "upgrade"}), kRefused);
    EXPECT_FALSE(platform::realFileSystem().fileExists(dir.file("assente.db"))) << "nothing is created";
    test::writeFile(dir.file("testo.db"), std::string(4096, 'j'));
    EXPECT_EQ(ctl({"--db", dir.file("testo.db"), "profiles"}), kRefused);
    EXPECT_NE(err.str().find("cannot open"), std::string::npos);
}

TEST_F(Ctl, WithoutDbTheProgramFoldersDatabaseIsUsed) {
    std::filesystem::create_directories(dir.path() / "DataBase");
    ASSERT_TRUE(core::createDeliveredDatabase(dir.file("DataBase/DataBase.db")));
#ifdef _WIN32
    system.major = 5;  // keep it in the program folder
#endif
    EXPECT_EQ(ctl({"profiles"}), kOk) << err.str();
    EXPECT_EQ(out.str(), "1\tNessuna restrizione\n");
}

}  // namespace
}  // namespace ombrix::app
