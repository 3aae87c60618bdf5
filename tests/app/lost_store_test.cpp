// A lost store on a marked machine, with the program's parts together: the
// controller, the enforcement reading the store, and the host between them.
#include <gtest/gtest.h>

#include <filesystem>

#include "app/program_host.h"
#include "core/settings_reg.h"
#include "core/store.h"
#include "core/store_copy.h"
#include "fakes/controller_rig.h"
#include "fakes/fake_enforcement.h"
#include "fakes/fake_machine_profile.h"

namespace ombrix::app {
namespace {

using core::TimerId;

class LostStore : public ::testing::Test, protected test::ControllerRig {
protected:
    LostStore() : ControllerRig(test::numberedTexts()) {
        sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti) VALUES (2, 'Classe', -1);"
            "INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (2, 'gioco.exe');"
            "INSERT INTO NomiFinestreVietate (IDProfilo, NomeFinestra) VALUES (2, 'Chat');"
            "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (2, '.giochi.example');"
            "UPDATE Opzioni SET IDProfiloInUso = 2, PasswordAdmin = 'segreta';");
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

    test::FakeDesktop windows{&journal};
    test::FakeKeyboard keyboard;
    test::FakeBrowsers browsers{processes, journal};
    test::FakeClock clock;
    test::FakeShell shell{journal};
    enforce::VisitedSitesLog log{platform::realFileSystem(), clock, store.connection,
                                 [this] { return dir.file("Registro"); }, platform::pathSeparator()};
    platform::SharedProcessView processView{processes, clock, 500};
    core::Controller controller{machine(), store};
    ProgramHost host{{controller, view, timers, system, shell, platform::realFileSystem(), processView}};
    enforce::Enforcement enforcement{{store.connection, language, processes, windows, keyboard, browsers, browsers,
                                      clock, pump, timers, host, log}};

    // Starts the program on the lost store and runs the process and window timers once.
    void startAndTick() {
        loseStore();
        controller.setProfileLists(&enforcement);
        host.setEnforcement(&enforcement);
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
}

}  // namespace
}  // namespace ombrix::app
