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
    EXPECT_EQ(KillProcess(processes, "hrome.exe"), 0) << "never a part of the name";
    EXPECT_FALSE(IsProcessRunning(processes, "notepad"));
    EXPECT_EQ(KillProcess(processes, "Notepad.EXE"), 1);
    EXPECT_FALSE(IsProcessRunning(processes, "notepad.exe"));
    EXPECT_TRUE(IsProcessRunning(processes, "calc.exe")) << "the name ends at its first NUL";
    EXPECT_EQ(journal.entries, (Entries{"kill notepad.exe"}));
}

TEST(KillForbiddenProcess, AlsoByTheNamesTheProgramKeepsInsideWholeAndWithoutCase) {
    const std::tuple<std::vector<std::string>, const char*, int> cases[] = {
        {{"gioco.exe", "gioco"}, "Gioco", 1},  // the internal name
        {{"NOTEPAD.EXE.MUI"}, "notepad.exe", 1},
        {{"gioco.exe"}, "gioco", 0},
        {{}, "gioco.exe", 0},  // no version resource: the image name alone
    };
    for (const auto& [inside, forbidden, ended] : cases) {
        test::Journal journal;
        test::FakeProcesses processes(journal);
        processes.running.push_back({1, "appunti.exe", 0, inside});
        EXPECT_EQ(KillProcess(processes, forbidden), 0) << "KillProcess itself goes by the image name";
        EXPECT_EQ(platform::KillForbiddenProcess(processes, forbidden), ended) << forbidden;
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

TEST_F(ProcessTimer, ARenamedCopyIsEndedWithANoticeAndAnotherProgramIsLeftAlone) {
    useProfile({"Notepad.EXE", "chrome.exe"}, true);
    rig.processes.startRenamed("appunti.exe", "notepad.exe");
    rig.processes.startRenamed("lettore.exe", "lettore.exe");
    rig.processes.startRenamed("navigatore.exe", "chrome.exe", 2);
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("kill"),
              (Entries{"kill appunti.exe", "kill navigatore.exe", "kill navigatore.exe", "kill navigatore.exe"}))
        << "a renamed browser is ended until gone, as the browser itself";
    EXPECT_EQ(rig.host.noticeTexts(), (Entries{"T0171 Notepad.EXE", "T0170"}));
    EXPECT_EQ(rig.host.notices[0].kind, kNoticeProcess);
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
    rig.processes.start("firefox.exe");
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("internal browser").size(), 1u) << "five are open already";
    EXPECT_EQ(rig.host.notices.size(), 0u);
}

TEST_F(ProcessTimer, AProcessThatNeverDiesDoesNotHoldTheTick) {
    useProfile({"chrome.exe"}, false);
    rig.processes.start("chrome.exe", -1);
    rig.enforcement->tickForbiddenProcesses();  // returning at all is the point
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
