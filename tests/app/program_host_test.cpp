#include "app/program_host.h"

#include <gtest/gtest.h>

#include "fakes/fake_controller.h"
#include "fakes/fake_enforcement.h"
#include "fakes/fake_machine.h"
#include "fakes/fake_machine_profile.h"
#include "platform/file_registry.h"

namespace ombrix::app {
namespace {

using core::TimerId;

// The enforcement rig's machine, with a controller and the host between them.
struct HostRig {
    HostRig() { host.setEnforcement(rig.enforcement.get()); }

    test::EnforcementRig rig;
    test::Journal& journal = rig.journal;
    platform::FileRegistry registry;
    test::FakeSystem system;
    test::RecordingDialogs dialogs;
    core::StoreEnvironment env{registry, platform::realFileSystem(), system, dialogs, rig.language};
    test::FakeView view{journal};
    test::FakeInstance instance;
    core::Store store;
    core::Controller controller{{env, rig.timers, view, rig.processes, rig.pump, instance}, store};
    test::FakeShell shell{journal};
    platform::SharedProcessView processView{rig.processes, rig.clock, 500};
    ProgramHost host{{controller, view, rig.timers, system, shell, platform::realFileSystem(), processView}};
};

TEST(ProgramHost, EachTimerReachesItsTickAndTimersOfMissingPartsAreSwitchedOff) {
    HostRig h;
    h.rig.addProfile(2, true, {}, {"calc.exe"}, {"Prompt"});
    h.rig.use(2);
    h.rig.processes.start("calc.exe");
    h.rig.windows.add("Prompt");
    h.journal.entries.clear();
    h.host.onTimer(TimerId::ForbiddenProcesses);
    EXPECT_GE(h.journal.find("kill calc.exe"), 0);
    h.host.onTimer(TimerId::CloseWindows);
    EXPECT_GE(h.journal.find("close Prompt"), 0);
    h.rig.processes.start("taskmgr.exe");
    h.host.onTimer(TimerId::KillTaskManager);
    EXPECT_GE(h.journal.find("kill taskmgr.exe"), 0);

    // A window that appears runs the process timer's check at once, while that timer is on.
    h.rig.processes.start("calc.exe");
    h.host.onWindowAppeared();
    EXPECT_EQ(h.journal.count("kill calc.exe"), 2);
    h.rig.timers.setEnabled(TimerId::ForbiddenProcesses, false);
    h.rig.processes.start("calc.exe");
    h.host.onWindowAppeared();
    EXPECT_EQ(h.journal.count("kill calc.exe"), 2);

    for (const TimerId id : {TimerId::LaunchHomePage, TimerId::MetroKiller, TimerId::HideDesktop,
                             TimerId::AwaitData}) {
        h.rig.timers.setEnabled(id, true);
        h.host.onTimer(id);
        EXPECT_FALSE(h.rig.timers.isEnabled(id)) << static_cast<int>(id);
    }
    h.rig.timers.setEnabled(TimerId::ForbiddenProcesses, true);
    h.host.setEnforcement(nullptr);
    h.host.onTimer(TimerId::ForbiddenProcesses);
    EXPECT_FALSE(h.rig.timers.isEnabled(TimerId::ForbiddenProcesses)) << "no enforcement, no tick";
}

TEST(ProgramHost, PagesOpenFromTheProgramDriveAndABlankStartPageOpensNothing) {
    HostRig h;
    h.system.folder = "D:\\Scuola\\Ombrix";
    h.host.openPage("http://scuola.example/");
    EXPECT_GE(h.journal.find("open http://scuola.example/ in D:\\ style 1"), 0);

    h.journal.entries.clear();
    h.host.launchStartPage();  // no profile in use: no start page
    EXPECT_TRUE(h.journal.entries.empty());

    h.host.keepNoticeWindowsOnTop();
    EXPECT_GE(h.journal.find("view notice on top"), 0) << "with no browser windows too";
}

}  // namespace
}  // namespace ombrix::app
