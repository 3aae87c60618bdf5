// Forbidden processes, forbidden windows and the task manager.
#include <gtest/gtest.h>

#include "enforce/enforcement.h"
#include "platform/process_control.h"
#include "fakes/fake_enforcement.h"

namespace ombrix::enforce {
namespace {

using Entries = std::vector<std::string>;
using platform::IsProcessRunning;
using platform::KillProcess;

TEST(KillProcess, WholeImageNameWithoutCase) {
    test::Journal journal;
    test::FakeProcesses processes(journal);
    processes.start("notepad.exe");
    processes.start("chrome.exe");
    processes.start(std::string("calc.exe\0garbage", 16));
    EXPECT_EQ(KillProcess(processes, "chrome"), 0) << "never a part of the name";
    EXPECT_EQ(KillProcess(processes, "hrome.exe"), 0);
    EXPECT_FALSE(IsProcessRunning(processes, "notepad"));
    EXPECT_TRUE(IsProcessRunning(processes, "NOTEPAD.EXE"));
    EXPECT_EQ(KillProcess(processes, "Notepad.EXE"), 1);
    EXPECT_FALSE(IsProcessRunning(processes, "notepad.exe"));
    EXPECT_TRUE(IsProcessRunning(processes, "calc.exe")) << "the name ends at its first NUL";
    EXPECT_EQ(KillProcess(processes, "notepad.exe"), 0) << "none left";
    EXPECT_EQ(journal.entries, (Entries{"kill notepad.exe"}));
}

TEST(KillForbiddenProcess, AlsoByTheNamesTheProgramKeepsInsideWholeAndWithoutCase) {
    struct Case {
        std::vector<std::string> inside;
        const char* forbidden;
        bool ended;
    };
    const Case cases[] = {
        {{"GIOCO.EXE"}, "gioco.exe", true},           {{"gioco.exe", "gioco"}, "Gioco", true},  // internal name
        {{"NOTEPAD.EXE.MUI"}, "notepad.exe", true},   {{"gioco.exe"}, "gioco", false},
        {{}, "gioco.exe", false},  // no version resource: the image name alone
    };
    for (const auto& c : cases) {
        test::Journal journal;
        test::FakeProcesses processes(journal);
        processes.running.push_back({1, "appunti.exe", 0, c.inside});
        EXPECT_EQ(KillProcess(processes, c.forbidden), 0) << "KillProcess itself goes by the image name";
        EXPECT_EQ(platform::KillForbiddenProcess(processes, c.forbidden), c.ended ? 1 : 0) << c.forbidden;
    }
}

class ProcessTimer : public ::testing::Test {
protected:
    void useProfile(const std::vector<std::string>& names, bool siteList, core::ProfileSwitches s = {}) {
        rig.addProfile(2, true, siteList ? std::vector<std::string>{".a.it"} : std::vector<std::string>{}, names);
        rig.use(2, s);
        rig.journal.entries.clear();
    }
    test::EnforcementRig rig;
};

TEST_F(ProcessTimer, AForbiddenProgramIsTerminatedWithANotice) {
    useProfile({"Notepad.EXE", "giochi.exe"}, false);
    rig.processes.start("notepad.exe");
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("kill"), Entries{"kill notepad.exe"});
    EXPECT_EQ(rig.host.noticeTexts(), Entries{"T0171 Notepad.EXE"});
    EXPECT_EQ(rig.host.notices[0].kind, kNoticeProcess);
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.host.notices.size(), 1u) << "nothing left to terminate";
}

TEST_F(ProcessTimer, ARenamedCopyIsEndedAndAnotherProgramIsLeftAlone) {
    useProfile({"gioco.exe", "chrome.exe"}, true);
    rig.processes.startRenamed("appunti.exe", "Gioco.exe");
    rig.processes.startRenamed("lettore.exe", "lettore.exe");
    rig.processes.startRenamed("navigatore.exe", "chrome.exe", 2);
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("kill"),
              (Entries{"kill appunti.exe", "kill navigatore.exe", "kill navigatore.exe", "kill navigatore.exe"}))
        << "a renamed browser is ended until gone, as the browser itself";
    EXPECT_EQ(rig.host.noticeTexts(), (Entries{"T0171 gioco.exe", "T0170"}));
    ASSERT_EQ(rig.processes.running.size(), 1u);
    EXPECT_EQ(rig.processes.running[0].name, "lettore.exe");
}

TEST_F(ProcessTimer, OnlyTheFirstBrowserOfATickIsHandedOver) {
    useProfile({"chrome.exe"}, true);      // the site list adds opera.exe, safari.exe, microsoftedge.exe
    rig.processes.start("chrome.exe", 2);  // outlives two terminations
    rig.processes.start("opera.exe", 2);
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("kill"), (Entries{"kill chrome.exe", "kill chrome.exe", "kill chrome.exe", "kill opera.exe"}))
        << "chrome terminated until gone; opera only once in the same tick";
    EXPECT_EQ(rig.entries("start page"), Entries{"start page"}) << "the site list is enforced";
    EXPECT_EQ(rig.host.noticeTexts(), Entries{"T0170"});

    rig.journal.entries.clear();
    rig.host.notices.clear();
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("kill"), (Entries{"kill opera.exe", "kill opera.exe"}));
    EXPECT_EQ(rig.host.noticeTexts(), Entries{"T0168"}) << "the next tick hands opera over";
}

TEST_F(ProcessTimer, MaximumProtectionSkipsTheHandOverOfChrome) {
    core::ProfileSwitches s;
    s.maxProtection = true;
    useProfile({"chrome.exe", "firefox.exe"}, false, s);
    rig.processes.start("chrome.exe", 1);
    rig.processes.start("firefox.exe", 1);
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("kill"), (Entries{"kill chrome.exe", "kill firefox.exe", "kill firefox.exe"}))
        << "chrome terminated once and not handed over; firefox is the first browser handled";
    EXPECT_EQ(rig.host.notices.size(), 0u);
}

TEST_F(ProcessTimer, InternalBrowserTakesOverUpToFiveWindows) {
    core::ProfileSwitches s;
    s.internalBrowser = true;
    useProfile({}, false, s);
    rig.host.internalWindows = 4;
    rig.processes.start("firefox.exe");
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("internal browser"), Entries{"internal browser"});
    rig.processes.start("firefox.exe");
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("internal browser").size(), 1u) << "five are open already";
    EXPECT_EQ(rig.host.notices.size(), 0u);
}

TEST_F(ProcessTimer, AProcessThatNeverDiesDoesNotHoldTheTick) {
    useProfile({"chrome.exe"}, false);
    rig.processes.start("chrome.exe", -1);
    rig.enforcement->tickForbiddenProcesses();  // returning at all is the point
    EXPECT_EQ(rig.entries("start page"), Entries{}) << "no site list is enforced";
    const auto kills = rig.entries("kill").size();
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_GT(rig.entries("kill").size(), kills) << "the next tick tries again";
}

TEST(WindowTimer, ClosesForbiddenTitlesAndSilentPrompts) {
    test::EnforcementRig rig;
    rig.addProfile(2, true, {}, {}, {"Prompt dei comandi", "_***_Gestione attività"});
    rig.use(2);
    rig.windows.add("prompt DEI comandi");
    rig.windows.add("Restore pages?");
    rig.windows.add("Gestione attività");
    rig.windows.add("Documento - Blocco note");
    rig.journal.entries.clear();
    rig.enforcement->tickCloseWindows();
    EXPECT_EQ(rig.journal.entries,
              (Entries{"show prompt DEI comandi 1", "close prompt DEI comandi", "notice T0174 Prompt dei comandi",
                       "show Gestione attività 1", "close Gestione attività", "show Restore pages? 1",
                       "close Restore pages?"}))
        << "shown normally, then closed; silent entries without a notice";
    EXPECT_EQ(rig.host.notices[0].kind, kNoticeWindow);
    EXPECT_EQ(rig.windows.titleWalks, 1) << "one walk of the desktop for the whole list";
}

TEST(TaskManagerTimer, KillsTaskManagerAndConfigurationAndKeepsNoticesOnTop) {
    test::EnforcementRig rig;
    rig.processes.start("Taskmgr.exe");
    rig.processes.start("msconfig.exe");
    rig.processes.start("explorer.exe");
    rig.enforcement->tickKillTaskManager();
    EXPECT_EQ(rig.journal.entries, (Entries{"kill Taskmgr.exe", "kill msconfig.exe", "notices on top"}));
    EXPECT_EQ(rig.host.notices.size(), 0u);
}

}  // namespace
}  // namespace ombrix::enforce
