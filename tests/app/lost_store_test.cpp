// A lost store on a marked machine, with the program's parts together: the
// controller, the enforcement reading the store, and the host between them.
#include <gtest/gtest.h>

#include <filesystem>

#include "core/settings_reg.h"
#include "core/store.h"
#include "core/store_copy.h"
#include "fakes/program_rig.h"

namespace ombrix::app {
namespace {

using core::TimerId;

class LostStore : public ::testing::Test, protected test::ProgramRig {
protected:
    LostStore() {
        EXPECT_TRUE(registry.writeString(platform::RegRoot::LocalMachine,
                                         core::settingsKey(core::kProgramTitle, core::kStoreSection),
                                         core::kPasswordChosenValue, "1"));
    }
    // What an administrator's last write left beside the store.
    void keepCopy() {
        core::Database db;
        ASSERT_TRUE(db.open(dir.file("DataBase/DataBase.db")));
        ASSERT_EQ(core::keepStoreCopy(db), std::nullopt);
    }
    void loseStore() { std::filesystem::remove(dir.path() / "DataBase" / "DataBase.db"); }

    // Starts the program on the lost store and runs the process and window timers once.
    void startAndTick() {
        loseStore();
        ASSERT_EQ(controller.startUp(), core::Controller::StartResult::Running);
        ASSERT_TRUE(controller.storeLost());
        processes.start("gioco.exe");
        processes.start("opera.exe");  // a browser whose address is not read
        windows.add("Chat");
        host.onTimer(TimerId::ForbiddenProcesses);
        host.onTimer(TimerId::CloseWindows);
        // Every page is blocked, whatever the profile's own list.
        EXPECT_TRUE(enforcement.allowedList());
        EXPECT_EQ(enforcement.sites().size(), 0u);
        EXPECT_TRUE(controller.switches().blockDownloads);
    }
};

TEST_F(LostStore, TheLastProfilesProgramsAndWindowsStayForbiddenFromTheCopy) {
    keepCopy();
    startAndTick();
    EXPECT_EQ(controller.profileInUse(), 2);
    EXPECT_NE(journal.find("kill gioco.exe"), -1);
    EXPECT_NE(journal.find("kill opera.exe"), -1);
    EXPECT_NE(journal.find("close Chat"), -1);
    // The copy holds the password too, but only the store itself opens the controls.
    EXPECT_FALSE(controller.login("segreta"));
    EXPECT_TRUE(controller.storeLost());
    EXPECT_FALSE(controller.administrator());
}

// No copy: no profile is known, and only the strictest rules hold.
TEST_F(LostStore, WithoutACopyOnlyTheStrictestRulesHold) {
    startAndTick();
    EXPECT_EQ(controller.profileInUse(), core::kUnknownProfile);
    EXPECT_EQ(journal.find("kill gioco.exe"), -1);
    EXPECT_NE(journal.find("kill opera.exe"), -1);
    // Told to the event log first, with the store's file; then what the timers ended.
    ASSERT_EQ(eventLog.written.size(), 2u);
    EXPECT_EQ(eventLog.written[0].id, 2000u);
    EXPECT_EQ(eventLog.written[0].strings.at(0),
              core::joinPath(dir.file("DataBase"), "DataBase.db", platform::pathSeparator()));
    EXPECT_EQ(eventLog.written[1],
              (test::FakeEventLog::Written{platform::EventLevel::Information, 1000, {"opera.exe", "#-1"}}));
}

}  // namespace
}  // namespace ombrix::app
