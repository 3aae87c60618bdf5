// ombrixctl install, protect and restore: what the machine is given and given back.
#include <gtest/gtest.h>

#include <filesystem>

#include "app/ctl_fixture.h"
#include "core/password.h"
#include "core/schema.h"
#include "core/settings_reg.h"
#include "core/store_location.h"
#include "fakes/fake_enforcement.h"
#include "fakes/fake_machine_profile.h"
#include "fakes/fake_shell_windows.h"
#include "machine/machine_profile.h"

namespace ombrix::app {
namespace {

using core::SavedSetting;
using platform::RegRoot;

class CtlInstall : public CtlFixture {
protected:
    CtlInstall() : CtlFixture("0090=Database non trovato\r\n0395=Impronta non valida.\r\n") {
        std::filesystem::create_directory(dir.path() / "C");
        system.env = {{"SYSTEMDRIVE", dir.file("C")}};
    }
    std::optional<std::string> machineValue(std::string_view name) {
        return registry.readValue(RegRoot::LocalMachine, core::settingsKey(core::kProgramTitle, core::kStoreSection),
                                  name);
    }
    std::string folder = pathToUtf8(dir.path() / "C" / "Ombrix" / "DataBase");
    std::string store = pathToUtf8(dir.path() / "C" / "Ombrix" / "DataBase" / "DataBase.db");
};

// The store is made where the machine's key names none (its folder holds no
// store), with the hash; a later run without one keeps store and password.
TEST_F(CtlInstall, MakesTheStoreInTheMachinesFolderThenKeepsItAndARefusedHashChangesNothing) {
    const std::string hash = core::hashPassword("Prova Uno1", "salt", 10).value();
    for (const std::string& bad : {std::string("Prova Uno1"), std::string("pbkdf2-sha256$10$73616c74$00"), hash + "0"}) {
        EXPECT_EQ(ctl({"install", "--password-hash", bad}), kRefused) << bad;
        EXPECT_EQ(err.str(), "0395: Impronta non valida.\n");
        EXPECT_FALSE(std::filesystem::exists(dir.path() / "C" / "Ombrix"));
        EXPECT_EQ(machineValue(core::kStoreKey), std::nullopt);
    }
    EXPECT_EQ(ctl({"install", "--password", hash}), kUsage);
    ASSERT_TRUE(registry.writeString(RegRoot::LocalMachine, core::settingsKey(core::kProgramTitle, core::kStoreSection),
                                     core::kStoreKey, dir.file("altrove")));
    ASSERT_EQ(ctl({"install", "--password-hash", hash}), kOk) << err.str();
    EXPECT_EQ(out.str(), "made\t" + store + "\n");
    EXPECT_EQ(machineValue(core::kStoreKey), folder);
    EXPECT_EQ(machineValue(core::kPasswordChosenValue), "1");
    EXPECT_TRUE(std::filesystem::is_directory(folder + "/Registro"));
    sql(store, "INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Classe');");
    ASSERT_EQ(ctl({"install", "--password-hash", ""}), kOk) << err.str();
    EXPECT_EQ(out.str(), "kept\t" + store + "\n");
    core::Database d;
    ASSERT_TRUE(d.open(store));
    EXPECT_EQ(d.scalar("SELECT PasswordAdmin || Profilo FROM Opzioni, Profili WHERE IDProfilo = 2;").toText(),
              hash + "Classe");
    system.env.clear();
    std::filesystem::remove_all(dir.path() / "C" / "Ombrix");
    EXPECT_EQ(ctl({"install"}), kRefused);
    EXPECT_NE(err.str().find("HOMEDRIVE"), std::string::npos) << err.str();
}

// The store's folder read-only for users, its log folder writable; each failure told, and it stops there.
TEST_F(CtlInstall, ProtectSetsTheFoldersAccessAndStopsAtTheFirstFailure) {
    const std::string own = pathToUtf8(dir.path()), logFolder = dir.file("Registro");
    test::FakeFolderAccess fake;
    folderAccess = &fake;
    EXPECT_EQ(run({"protect"}), kRefused);
    EXPECT_EQ(err.str(), "0090: Database non trovato " + db + "\n");
    ASSERT_TRUE(core::createDeliveredDatabase(db));
    for (int twice = 0; twice < 2; ++twice) {  // an existing log folder is fine
        ASSERT_EQ(run({"protect"}), kOk) << err.str();
        EXPECT_EQ(out.str(), "read-only for users\t" + own + "\nwritable for users\t" + logFolder + "\n");
    }
    EXPECT_EQ(fake.set.back(), std::make_pair(logFolder, platform::FolderAccessKind::WritableForUsers));
    std::filesystem::remove(logFolder);
    fake.refused[own] = "Access is denied.";
    EXPECT_EQ(run({"protect"}), kRefused);
    EXPECT_EQ(err.str(), "0345: The access list of the folder could not be set: " + own + ": Access is denied.\n");
    EXPECT_FALSE(std::filesystem::exists(logFolder)) << "nothing after the store's folder";
    fake.refused = {{logFolder, "Access is denied."}};
    EXPECT_EQ(run({"protect"}), kRefused);
    EXPECT_EQ(err.str(), "0345: The access list of the folder could not be set: " + logFolder + ": Access is denied.\n");
    std::filesystem::remove(logFolder);
    test::writeFile(logFolder, "a file in the way");
    EXPECT_EQ(run({"protect", "extra"}), kUsage);
    EXPECT_EQ(run({"protect"}), kRefused);
    EXPECT_EQ(err.str(), "0346: The log folder could not be created: " + logFolder + "\n");
}

TEST_F(CtlInstall, RestoreGivesBackWhatTheJournalHoldsOneLineEach) {
    const std::string journal = dir.file(core::kJournalFileName);
    EXPECT_EQ(run({"restore"}), kOk);
    EXPECT_EQ(out.str(), "nothing to restore\n");
    registry.writeDword(RegRoot::CurrentUser, core::kZone3, core::kDownloadValue, 3);
    registry.writeDword(RegRoot::CurrentUser, "Software\\Held", "Theirs", 1);
    const auto createdKey = [](const char* path) {
        return SavedSetting{SavedSetting::Kind::CreatedKey, RegRoot::CurrentUser, path, "", SavedSetting::Value::Absent, ""};
    };
    test::writeFile(journal, core::serialiseJournal({
        createdKey("Software\\Held"), createdKey(core::kZone3),
        {SavedSetting::Kind::Registry, RegRoot::CurrentUser, core::kZone3, core::kDownloadValue, SavedSetting::Value::Absent, ""},
        {SavedSetting::Kind::DefaultPrinter, RegRoot::CurrentUser, "", "", SavedSetting::Value::Text, "Old,drv,LPT1:"},
    }));
    EXPECT_EQ(run({"restore"}), kRefused) << "no printers here";
    EXPECT_EQ(out.str(), "restored HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Zones\\3\\1803 = (removed)\n"
                         "restored key HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Zones\\3 = (removed)\n"
                         "restored key HKCU\\Software\\Held = (kept: another program's values are in it)\n");
    EXPECT_FALSE(registry.keyExists(RegRoot::CurrentUser, core::kZone3));
    EXPECT_EQ(err.str(), "ombrixctl: not restored, kept in the journal: default printer = \"Old,drv,LPT1:\"\n");
    EXPECT_EQ(core::parseJournal(*readWholeFile(journal))->size(), 1u);
    test::writeFile(journal, "ombrix machine journal 1\nregistry\tHKCU");
    EXPECT_EQ(run({"restore"}), kRefused);
    EXPECT_NE(err.str().find("is damaged and was not applied"), std::string::npos);

    // A shell left locked is freed by the shell's own lock.
    test::Journal log;
    test::FakeShellWindows shell(log);
    test::FakeProcesses processes(log);
    test::FakeClock clock;
    test::FakePump pump;
    test::FakeShell starter(log);
    test::FakeTimers timers(log);
    lockdown::ShellLock lock({shell, shell, processes, clock, pump, starter, system, timers}, {});
    lock.lockDesktop(true, true);
    ASSERT_FALSE(shell.w[2].enabled || shell.w[9].visible);
    desktop = &lock;
    test::writeFile(journal, core::serialiseJournal({{SavedSetting::Kind::Desktop, RegRoot::CurrentUser, {}, {}, {}, {}}}));
    EXPECT_EQ(run({"restore"}), kOk) << err.str();
    EXPECT_EQ(out.str(), "restored task bar, start button and desktop = shown\n");
    for (const auto& [id, x] : shell.w) EXPECT_TRUE(x.enabled && x.visible) << x.cls;
    EXPECT_FALSE(shell.keyboard || shell.mouse) << "the hooks went with the lock";
}

}  // namespace
}  // namespace ombrix::app
