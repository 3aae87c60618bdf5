#include <functional>

#include <gtest/gtest.h>

#include "enforce/enforcement.h"
#include "fakes/fake_enforcement.h"

namespace ombrix::enforce {
namespace {

using core::TimerId;
using Names = std::vector<std::string>;

Names namesOf(const Names& withSpare) {
    EXPECT_EQ(withSpare.back(), "") << "the spare element";
    return {withSpare.begin(), withSpare.end() - 1};
}

// A site entry is enforced whole: cut to the column's width, an allowed
// entry would let more through. A forbidden name or title cut so only
// forbids more, and is cut.
TEST(SiteLoader, ReadsEntriesWholeInStoreOrderAndCutsNamesAndTitles) {
    test::EnforcementRig rig;
    const std::string page = "http://example.org/" + std::string(300, 'k');
    rig.addProfile(2, true, {"*gioco", "", "Esempio.ORG", page}, {std::string(300, 'p') + ".exe"},
                   {std::string(300, 't')});
    ASSERT_TRUE(rig.db.run("INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (2, NULL), (3, 'altro'), "
                           "(2, ' spazio ');"));
    rig.use(2);
    const SiteList& list = rig.enforcement->sites();
    EXPECT_EQ(list.upperBound(), 4u);
    EXPECT_EQ(rig.enforcement->entries(), (Names{"*gioco", "Esempio.ORG", page, " spazio "}));
    EXPECT_EQ(rig.enforcement->processNames().front().size(), 255u);
    EXPECT_EQ(rig.enforcement->windowTitles().front().size(), 255u);
}

TEST(SiteLoader, TimerFollowsListModeAndSize) {
    struct Case {
        long long id;  // 0: no profile
        bool hasRow, forbiddenList;
        Names sites;
        bool timerOn, allowedList;
    };
    const Case cases[] = {
        {2, true, true, {}, false, false},  // an empty forbidden list enforces nothing
        {2, true, true, {".a.it"}, true, false},
        {2, true, false, {}, true, true},     // an empty allowed list still blocks
        {2, false, false, {}, true, true},    // a profile in use without a row: an empty allowed list
        {0, false, false, {}, true, true},
    };
    for (const auto& c : cases) {
        test::EnforcementRig rig;
        // A profile before this one left the timer on.
        rig.timers.setEnabled(TimerId::SiteCheck, true);
        rig.journal.entries.clear();
        if (c.hasRow) rig.addProfile(c.id, c.forbiddenList, c.sites);
        rig.use(c.id);
        EXPECT_EQ(rig.timers.isEnabled(TimerId::SiteCheck), c.timerOn) << c.sites.size();
        EXPECT_EQ(rig.enforcement->allowedList(), c.allowedList);
        EXPECT_EQ(rig.journal.entries.front(), "timerSitiVietatiConsentiti off") << "switched off first";
    }
}

// What each load tells the browsers' own policies.
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
    EXPECT_TRUE(policies.told[0]->allowedList);
    EXPECT_TRUE(policies.told[0]->entries.empty());

    rig.browsers.open(rig.browsers.chrome, "http://scuola.it/");
    rig.processes.start("opera.exe");
    rig.enforcement->tickSiteCheck();
    rig.enforcement->tickForbiddenProcesses();
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
        {true, {".a.it"}, {}, {"iexplore.exe", "firefox.exe", "opera.exe", "safari.exe", "chrome.exe",
                               "microsoftedge.exe"}},
    };
    for (const auto& [internalBrowser, sites, rows, expected] : cases) {
        test::EnforcementRig rig;
        rig.addProfile(2, true, sites, rows);
        core::ProfileSwitches s;
        s.internalBrowser = internalBrowser;
        rig.use(2, s);
        EXPECT_EQ(rig.timers.isEnabled(TimerId::ForbiddenProcesses), !expected.empty());
        EXPECT_EQ(namesOf(rig.enforcement->processNames()), expected);
    }
    // The next profile has no site list: its site loader switches the timer
    // off before the process loader looks.
    test::EnforcementRig rig;
    rig.addProfile(2, true, {".a.it"});
    rig.addProfile(3, true, {});
    rig.use(2);
    rig.use(3);
    EXPECT_FALSE(rig.timers.isEnabled(TimerId::ForbiddenProcesses));
}

TEST(WindowLoader, AppendsDownloadClockAndSilentPromptsAndIsAlwaysOn) {
    test::EnforcementRig rig;
    rig.addProfile(2, true, {}, {}, {"Prompt dei comandi"});
    rig.host.schedule = true;
    core::ProfileSwitches s;
    s.blockDownloads = true;
    rig.use(2, s);
    EXPECT_TRUE(rig.timers.isEnabled(TimerId::CloseWindows));
    const Names titles = namesOf(rig.enforcement->windowTitles());
    ASSERT_EQ(titles.size(), 10u);
    EXPECT_EQ(Names(titles.begin(), titles.begin() + 5),
              (Names{"Prompt dei comandi", "Download", "Data e ora", "Proprietà - Data e ora",
                     "_***_Ripristinare le pagine?"}));

    test::EnforcementRig plain;
    plain.use(0);
    EXPECT_TRUE(plain.timers.isEnabled(TimerId::CloseWindows)) << "even with no profile";
    EXPECT_EQ(namesOf(plain.enforcement->windowTitles()).size(), 6u);
}

// A store that cannot be read never makes a forbidden page allowed: the
// lists loaded last stay in force (at start, every page is blocked), and the
// administrator hears of it once.
TEST(Loaders, AnUnreadableStoreFailsClosedAndSaysSo) {
    const std::pair<const char*, std::function<void(core::Database&)>> damages[] = {
        {"closed", [](core::Database& db) { db.close(); }},
        {"no profile table", [](core::Database& db) { ASSERT_TRUE(db.exec("DROP TABLE Profili;")); }},
    };
    for (const auto& [name, damage] : damages) {
        for (const bool loadedBefore : {true, false}) {
            SCOPED_TRACE(std::string(name) + (loadedBefore ? ", loaded before" : ", at start"));
            test::EnforcementRig rig;
            rig.addProfile(2, true, {".vietato.it"}, {"calc.exe"}, {"Prompt"});
            if (loadedBefore) rig.use(2);
            damage(rig.db);
            rig.use(2);
            rig.use(2);
            // Loaded before, the forbidden list stays; at start, every page is blocked.
            EXPECT_EQ(rig.enforcement->entries(), loadedBefore ? Names{".vietato.it"} : Names{});
            EXPECT_EQ(rig.enforcement->allowedList(), !loadedBefore);
            EXPECT_TRUE(rig.timers.isEnabled(TimerId::SiteCheck));
            EXPECT_TRUE(rig.timers.isEnabled(TimerId::ForbiddenProcesses));
            if (loadedBefore) {
                EXPECT_EQ(rig.enforcement->processNames().front(), "calc.exe");
                EXPECT_EQ(rig.enforcement->windowTitles().front(), "Prompt");
            }
            ASSERT_EQ(rig.host.storeErrors.size(), 1u) << "once, not once a list or a load";
            EXPECT_FALSE(rig.host.storeErrors[0].empty());
        }
    }
}

// Another process holds the store's write lock (an administrator's SQLite
// shell, a backup) while the lists load: a long hold leaves the lists in
// force, told once, and the next load reads anew.
TEST(Loaders, AStoreLockedElsewhereLeavesTheListsInForce) {
    test::EnforcementRig rig;
    rig.addProfile(2, true, {".vietato.it"}, {"calc.exe"});
    rig.addProfile(3, true, {".altro.it"}, {"notepad.exe"});
    const std::string file = rig.dir.file("DataBase.db");
    {
        core::Database copy;
        ASSERT_TRUE(copy.open(file, core::Database::Mode::CreateIfMissing));
        ASSERT_TRUE(rig.db.copyTo(copy));
    }
    ASSERT_TRUE(rig.db.open(file));
    rig.use(2);
    const auto inForce = [&] {
        return rig.enforcement->entries().front() + " " + rig.enforcement->processNames().front();
    };

    core::Database other;
    ASSERT_TRUE(other.open(file));
    ASSERT_TRUE(other.exec("BEGIN EXCLUSIVE;"));
    rig.db.setBusyTimeout(50);  // the wait's length is the engine's; only its end matters here
    rig.use(3);
    EXPECT_EQ(inForce(), ".vietato.it calc.exe");
    EXPECT_EQ(rig.host.storeErrors.size(), 1u);
    ASSERT_TRUE(other.exec("COMMIT;"));
    rig.use(3);
    EXPECT_EQ(inForce(), ".altro.it notepad.exe") << "the next load reads anew";
}

// A NUL in a stored entry (another tool wrote it) would end a C string
// early: "http://\0a\0.\0i\0t" read so is "http://", which matches every
// address. Such a list reads as damaged, so the lists loaded last stay (at
// start every page is blocked) and the administrator is told.
TEST(Loaders, AnEntryHoldingANulIsNeverEnforcedAsAShorterOne) {
    const std::string utf16Entry("http://\0a\0.\0i\0t", 14);
    for (const bool forbidden : {false, true}) {
        test::EnforcementRig rig;
        rig.addProfile(2, forbidden, {".scuola.it", utf16Entry});
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

}  // namespace
}  // namespace ombrix::enforce
