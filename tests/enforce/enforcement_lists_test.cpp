// The lists a profile loads, and the timers that enforce processes, windows and the task manager.
#include <gtest/gtest.h>

#include <functional>

#include "enforce/enforcement.h"
#include "fakes/fake_enforcement.h"
#include "platform/process_control.h"

namespace ombrix::enforce {
namespace {

using core::TimerId;
using Names = std::vector<std::string>;

Names namesOf(const Names& withSpare) {
    EXPECT_EQ(withSpare.back(), "") << "the spare element";
    return {withSpare.begin(), withSpare.end() - 1};
}

// A site entry is enforced whole: cut, an allowed entry would let more
// through. A forbidden name or title cut only forbids more, and is cut.
TEST(SiteLoader, ReadsEntriesWholeInStoreOrderAndCutsNamesAndTitles) {
    test::EnforcementRig rig;
    const std::string page = "http://example.org/" + std::string(300, 'k');
    rig.addProfile(2, true, {"*gioco", "", "Esempio.ORG", page}, {std::string(300, 'p')}, {std::string(300, 't')});
    ASSERT_TRUE(rig.db.exec("INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (2, NULL), (3, 'altro'), "
                            "(2, ' spazio ');"));
    rig.use(2);
    EXPECT_EQ(rig.enforcement->sites().upperBound(), 4u);
    EXPECT_EQ(rig.enforcement->entries(), (Names{"*gioco", "Esempio.ORG", page, " spazio "}));
    EXPECT_EQ(rig.enforcement->processNames().front().size(), 255u);
    EXPECT_EQ(rig.enforcement->windowTitles().front().size(), 255u);
}

TEST(SiteLoader, TimerFollowsListModeAndSize) {
    const std::tuple<long long, bool, bool, Names, bool> cases[] = {
        // the profile (0: none), a row for it, a forbidden list, its sites, the timer on and the list allowed
        {2, true, true, {}, false},  // an empty forbidden list enforces nothing
        {2, true, true, {".a.it"}, true}, {2, true, false, {}, true},  // an empty allowed list still blocks
        {2, false, false, {}, true}, {0, false, false, {}, true},     // a profile without a row: an empty allowed list
    };
    for (const auto& [id, hasRow, forbiddenList, sites, on] : cases) {
        test::EnforcementRig rig;
        rig.timers.setEnabled(TimerId::SiteCheck, true);  // left on by the profile before
        rig.journal.entries.clear();
        if (hasRow) rig.addProfile(id, forbiddenList, sites);
        rig.use(id);
        EXPECT_EQ(rig.timers.isEnabled(TimerId::SiteCheck), on) << sites.size();
        EXPECT_EQ(rig.enforcement->allowedList(), !forbiddenList);
        EXPECT_EQ(rig.journal.entries.front(), "timerSitiVietatiConsentiti off") << "switched off first";
    }
}

struct PolicyRecorder final : core::BrowserPolicySink {
    std::vector<std::optional<core::PolicySites>> told;
    void siteListInForce(const std::optional<core::PolicySites>& sites) override { told.push_back(sites); }
};

// However "no profile" came to be in use, it blocks every page, in the
// browsers' policies too; only the shutdown's lifts everything.
TEST(Loaders, NoProfileBlocksEveryPageButAtTheShutdown) {
    test::EnforcementRig rig;
    PolicyRecorder policies;
    rig.enforcement->setBrowserPolicies(&policies);
    rig.use(0);
    EXPECT_TRUE(rig.enforcement->allowedList());
    EXPECT_EQ(namesOf(rig.enforcement->processNames()), (Names{"opera.exe", "safari.exe", "microsoftedge.exe"}));
    ASSERT_EQ(policies.told.size(), 1u);
    ASSERT_TRUE(policies.told[0].has_value()) << "the browsers were told of no list";
    EXPECT_TRUE(policies.told[0]->allowedList && policies.told[0]->entries.empty());
    rig.browsers.open(rig.browsers.chrome, "http://scuola.it/");
    rig.processes.start("opera.exe");
    rig.enforcement->tickSiteCheck(); rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("kill"), (Names{"kill chrome.exe", "kill opera.exe"}));
    rig.enforcement->liftForShutdown();
    rig.use(0);
    EXPECT_FALSE(rig.timers.isEnabled(TimerId::SiteCheck));
    EXPECT_FALSE(rig.timers.isEnabled(TimerId::ForbiddenProcesses));
    EXPECT_EQ(policies.told.back(), std::nullopt) << "the browsers' policies are given back";
}

TEST(ProcessLoader, AddsBrowsersByInternalBrowserAndSiteTimer) {
    const std::tuple<bool, Names, Names, Names> cases[] = {
        // internal browser, a forbidden list (a non-empty one turns the site timer on), rows, expected
        {false, {}, {}, {}},
        {false, {}, {"Notepad.EXE", "calc.exe"}, {"Notepad.EXE", "calc.exe"}},
        {false, {".a.it"}, {"x.exe"}, {"x.exe", "opera.exe", "safari.exe", "microsoftedge.exe"}},
        {true, {".a.it"}, {}, {"iexplore.exe", "firefox.exe", "opera.exe", "safari.exe", "chrome.exe", "microsoftedge.exe"}},
    };
    for (const auto& [internalBrowser, sites, rows, expected] : cases) {
        test::EnforcementRig rig;
        rig.addProfile(2, true, sites, rows);
        rig.use(2, test::switches(&core::ProfileSwitches::internalBrowser, internalBrowser));
        EXPECT_EQ(rig.timers.isEnabled(TimerId::ForbiddenProcesses), !expected.empty());
        EXPECT_EQ(namesOf(rig.enforcement->processNames()), expected);
    }
}

TEST(WindowLoader, AppendsDownloadClockAndSilentPromptsAndIsAlwaysOn) {
    test::EnforcementRig rig;
    rig.addProfile(2, true, {}, {}, {"Prompt dei comandi"});
    rig.host.schedule = true;
    rig.use(2, test::switches(&core::ProfileSwitches::blockDownloads, true));
    EXPECT_TRUE(rig.timers.isEnabled(TimerId::CloseWindows));
    const Names titles = namesOf(rig.enforcement->windowTitles());
    ASSERT_EQ(titles.size(), 10u);
    EXPECT_EQ(Names(titles.begin(), titles.begin() + 5), (Names{"Prompt dei comandi", "Download", "Data e ora",
                                                                "Proprietà - Data e ora", "_***_Ripristinare le pagine?"}));
    test::EnforcementRig plain;
    plain.use(0);
    EXPECT_TRUE(plain.timers.isEnabled(TimerId::CloseWindows)) << "even with no profile";
    EXPECT_EQ(namesOf(plain.enforcement->windowTitles()).size(), 6u);
}

// A store that cannot be read never makes a forbidden page allowed: the
// lists loaded last stay (at start, every page is blocked), told once.
TEST(Loaders, AnUnreadableStoreFailsClosedAndSaysSo) {
    const std::function<void(core::Database&)> damages[] = {
        [](core::Database& db) { db.close(); },
        [](core::Database& db) { ASSERT_TRUE(db.exec("DROP TABLE Profili;")); },
    };
    for (const auto& damage : damages) {
        for (const bool loadedBefore : {true, false}) {
            SCOPED_TRACE(loadedBefore);
            test::EnforcementRig rig;
            rig.addProfile(2, true, {".vietato.it"}, {"calc.exe"}, {"Prompt"});
            if (loadedBefore) rig.use(2);
            damage(rig.db);
            rig.use(2);
            rig.use(2);
            EXPECT_EQ(rig.enforcement->entries(), loadedBefore ? Names{".vietato.it"} : Names{});
            EXPECT_EQ(rig.enforcement->allowedList(), !loadedBefore);
            EXPECT_TRUE(rig.timers.isEnabled(TimerId::SiteCheck));
            EXPECT_TRUE(rig.timers.isEnabled(TimerId::ForbiddenProcesses));
            EXPECT_TRUE(!loadedBefore || (rig.enforcement->processNames().front() == "calc.exe" &&
                                          rig.enforcement->windowTitles().front() == "Prompt"));
            ASSERT_EQ(rig.host.storeErrors.size(), 1u) << "once, not once a list or a load";
            EXPECT_FALSE(rig.host.storeErrors[0].empty());
        }
    }
}

// A NUL in a stored entry would end a C string early: "http://\0a\0.\0i\0t"
// read so is "http://", which matches every address. Such a list reads as
// damaged: the lists loaded last stay and the administrator is told.
TEST(Loaders, AnEntryHoldingANulIsNeverEnforcedAsAShorterOne) {
    for (const bool forbidden : {false, true}) {
        test::EnforcementRig rig;
        rig.addProfile(2, forbidden, {".scuola.it", std::string("http://\0a\0.\0i\0t", 14)});
        rig.addProfile(3, true, {".vietato.it"});
        rig.use(2);
        EXPECT_TRUE(rig.enforcement->allowedList()) << "every page is blocked";
        EXPECT_TRUE(rig.enforcement->entries().empty());
        ASSERT_EQ(rig.host.storeErrors.size(), 1u);
        EXPECT_NE(rig.host.storeErrors[0].find("NUL"), std::string::npos) << rig.host.storeErrors[0];
        rig.use(3);
        rig.use(2);
        EXPECT_EQ(rig.enforcement->entries(), Names{".vietato.it"}) << "the list loaded last stays";
    }
}

TEST(KillProcess, WholeImageNameWithoutCaseOrByTheNamesInside) {
    test::Journal journal;
    test::FakeProcesses processes(journal);
    processes.start("notepad.exe");
    processes.start(std::string("calc.exe\0garbage", 16));
    processes.startRenamed("appunti.exe", "gioco.exe");
    processes.startRenamed("testo.exe", "NOTEPAD.EXE.MUI");  // Windows' own programs name their language file
    EXPECT_EQ(platform::KillProcess(processes, "otepad.exe"), 0) << "never a part of the name";
    EXPECT_FALSE(platform::IsProcessRunning(processes, "notepad"));
    EXPECT_EQ(platform::KillProcess(processes, "Notepad.EXE"), 1);
    EXPECT_TRUE(platform::IsProcessRunning(processes, "calc.exe")) << "the name ends at its first NUL";
    EXPECT_EQ(platform::KillProcess(processes, "gioco.exe"), 0) << "KillProcess itself goes by the image name";
    EXPECT_EQ(platform::KillForbiddenProcess(processes, "gioco"), 0) << "whole names inside too";
    EXPECT_EQ(platform::KillForbiddenProcess(processes, "Gioco.exe"), 1);
    EXPECT_EQ(platform::KillForbiddenProcess(processes, "notepad.exe"), 1);
    EXPECT_EQ(journal.entries, (Names{"kill notepad.exe", "kill appunti.exe", "kill testo.exe"}));
}

class ProcessTimer : public ::testing::Test {
protected:
    void useProfile(const Names& names, bool siteList, core::ProfileSwitches s = {}) {
        rig.addProfile(2, true, siteList ? Names{".a.it"} : Names{}, names);
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
              (Names{"kill appunti.exe", "kill navigatore.exe", "kill navigatore.exe", "kill navigatore.exe"}))
        << "a renamed browser is ended until gone, as the browser itself";
    EXPECT_EQ(rig.host.noticeTexts(), (Names{"T0171 Notepad.EXE", "T0170"}));
    EXPECT_EQ(rig.host.notices[0].kind, kNoticeProcess);
}

TEST_F(ProcessTimer, OnlyTheFirstBrowserOfATickIsHandedOver) {
    useProfile({"chrome.exe"}, true);      // the site list adds opera.exe, safari.exe, microsoftedge.exe
    rig.processes.start("chrome.exe", 2);  // outlives two terminations
    rig.processes.start("opera.exe", 2);
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("kill"), (Names{"kill chrome.exe", "kill chrome.exe", "kill chrome.exe", "kill opera.exe"}))
        << "chrome terminated until gone; opera only once in the same tick";
    EXPECT_EQ(rig.entries("start page"), Names{"start page"}) << "the site list is enforced";
    EXPECT_EQ(rig.host.noticeTexts(), Names{"T0170"});
    rig.journal.entries.clear(); rig.host.notices.clear();
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("kill"), (Names{"kill opera.exe", "kill opera.exe"}));
    EXPECT_EQ(rig.host.noticeTexts(), Names{"T0168"}) << "the next tick hands opera over";
}

TEST_F(ProcessTimer, MaximumProtectionSkipsTheHandOverOfChrome) {
    useProfile({"chrome.exe", "firefox.exe"}, false, test::switches(&core::ProfileSwitches::maxProtection, true));
    rig.processes.start("chrome.exe", 1);
    rig.processes.start("firefox.exe", 1);
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("kill"), (Names{"kill chrome.exe", "kill firefox.exe", "kill firefox.exe"}))
        << "chrome terminated once and not handed over; firefox is the first browser handled";
    EXPECT_EQ(rig.host.notices.size(), 0u);
}

TEST_F(ProcessTimer, InternalBrowserTakesOverUpToFiveWindows) {
    useProfile({}, false, test::switches(&core::ProfileSwitches::internalBrowser, true));
    rig.host.internalWindows = 4;
    for (int i = 0; i < 2; ++i) { rig.processes.start("firefox.exe"); rig.enforcement->tickForbiddenProcesses(); }
    EXPECT_EQ(rig.entries("internal browser").size(), 1u) << "five are open already";
    EXPECT_EQ(rig.host.notices.size(), 0u);
}

TEST(WindowTimers, CloseForbiddenTitlesAndSilentPromptsAndKillTheTaskManager) {
    test::EnforcementRig rig;
    rig.use(rig.addProfile(2, true, {}, {}, {"Prompt dei comandi", "_***_Gestione attività"}));
    for (const char* title : {"prompt DEI comandi", "Restore pages?", "Gestione attività", "Blocco note"}) rig.windows.add(title);
    rig.journal.entries.clear();
    rig.enforcement->tickCloseWindows();
    EXPECT_EQ(rig.journal.entries,
              (Names{"show prompt DEI comandi 1", "close prompt DEI comandi", "notice T0174 Prompt dei comandi",
                       "show Gestione attività 1", "close Gestione attività", "show Restore pages? 1",
                       "close Restore pages?"}))
        << "shown normally, then closed; silent entries without a notice";
    EXPECT_EQ(rig.host.notices[0].kind, kNoticeWindow);
    EXPECT_EQ(rig.windows.titleWalks, 1) << "one walk of the desktop for the whole list";
    rig.journal.entries.clear();
    for (const char* name : {"Taskmgr.exe", "msconfig.exe", "explorer.exe"}) rig.processes.start(name);
    rig.enforcement->tickKillTaskManager();
    EXPECT_EQ(rig.journal.entries, (Names{"kill Taskmgr.exe", "kill msconfig.exe", "notices on top"}));
    EXPECT_EQ(rig.host.notices.size(), 1u) << "the task manager is ended without a notice";
}

}  // namespace
}  // namespace ombrix::enforce
