#include <gtest/gtest.h>

#include "app/ctl_fixture.h"
#include "fakes/fake_enforcement.h"
#include "fakes/fake_machine_profile.h"
#include "fakes/fake_shell_windows.h"
#include "machine/machine_profile.h"

namespace ombrix::app {
namespace {

using core::SavedSetting;
using platform::RegRoot;

class CtlRestore : public CtlFixture {
protected:
    CtlRestore() : CtlFixture("") {}
    std::string journal = dir.file(core::kJournalFileName);
};

TEST_F(CtlRestore, GivesBackWhatTheJournalHoldsOneLineEach) {
    EXPECT_EQ(run({"restore"}), kOk);
    EXPECT_EQ(out.str(), "nothing to restore\n");
    registry.writeDword(RegRoot::CurrentUser, core::kZone3, core::kDownloadValue, 3);
    registry.writeDword(RegRoot::CurrentUser, "Software\\Held", "Theirs", 1);
    const auto createdKey = [](const char* path) {
        return SavedSetting{SavedSetting::Kind::CreatedKey, RegRoot::CurrentUser, path, "", SavedSetting::Value::Absent, ""};
    };
    test::writeFile(journal, core::serialiseJournal({
        createdKey("Software\\Held"),
        createdKey(core::kZone3),
        {SavedSetting::Kind::Registry, RegRoot::CurrentUser, core::kZone3, core::kDownloadValue, SavedSetting::Value::Absent, ""},
        {SavedSetting::Kind::DefaultPrinter, RegRoot::CurrentUser, "", "", SavedSetting::Value::Text, "Old,drv,LPT1:"},
    }));
    EXPECT_EQ(run({"restore"}), kRefused) << "no printers here";
    EXPECT_EQ(out.str(), "restored HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Zones\\3\\1803 = (removed)\n"
                         "restored key HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Zones\\3 = (removed)\n"
                         "restored key HKCU\\Software\\Held = (kept: another program's values are in it)\n");
    EXPECT_FALSE(registry.keyExists(RegRoot::CurrentUser, core::kZone3));
    EXPECT_EQ(err.str(), "ombrixctl: not restored, kept in the journal: default printer = \"Old,drv,LPT1:\"\n");
    EXPECT_EQ(registry.readValue(RegRoot::CurrentUser, core::kZone3, core::kDownloadValue), std::nullopt);
    EXPECT_EQ(core::parseJournal(*readWholeFile(journal))->size(), 1u);

    test::writeFile(journal, "ombrix machine journal 1\nregistry\tHKCU");
    EXPECT_EQ(run({"restore"}), kRefused);
    EXPECT_NE(err.str().find("is damaged and was not applied"), std::string::npos);
}

TEST_F(CtlRestore, AShellLeftLockedIsFreedByTheShellsOwnLock) {
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
