#include <chrono>
#include <functional>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "enforce/enforcement.h"
#include "fakes/fake_enforcement.h"

namespace ombrix::enforce {
namespace {

using core::TimerId;

std::vector<std::string> namesOf(const std::vector<std::string>& withSpare) {
    EXPECT_FALSE(withSpare.empty()) << "at least the spare element";
    EXPECT_EQ(withSpare.back(), "") << "the spare element";
    return {withSpare.begin(), withSpare.end() - 1};
}

TEST(SiteLoader, ReadsEntriesInStoreOrderSkippingEmptyAndNull) {
    test::EnforcementRig rig;
    rig.addProfile(2, true, {"*gioco", "", "Esempio.ORG", ".b.it"});
    ASSERT_TRUE(rig.db.run("INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (2, NULL);"));
    ASSERT_TRUE(rig.db.run("INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (3, 'altro');"));
    ASSERT_TRUE(rig.db.run("INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (2, ' spazio ');"));
    rig.use(2);
    const SiteList& list = rig.enforcement->sites();
    ASSERT_EQ(list.size(), 4u);
    EXPECT_EQ(list.upperBound(), 4u);
    EXPECT_EQ(list.entry(0), "*gioco");
    EXPECT_EQ(list.entry(1), "Esempio.ORG") << "kept as stored, no change of case";
    EXPECT_EQ(list.entry(2), ".b.it");
    EXPECT_EQ(list.entry(3), " spazio ") << "no trimming";
}

TEST(SiteLoader, TimerFollowsListModeAndSize) {
    struct Case {
        const char* name;
        long long id;
        bool hasProfile;
        bool forbiddenList;
        std::vector<std::string> sites;
        bool timerOn;
        bool allowedList;
    };
    const Case cases[] = {
        {"empty forbidden list: nothing enforced", 2, true, true, {}, false, false},
        {"forbidden list", 2, true, true, {".a.it"}, true, false},
        {"empty allowed list still blocks", 2, true, false, {}, true, true},
        {"allowed list", 2, true, false, {".a.it"}, true, true},
        {"profile in use without a row: an empty allowed list", 2, false, false, {}, true, true},
        {"no profile: an empty allowed list", 0, false, false, {}, true, true},
    };
    for (const auto& c : cases) {
        test::EnforcementRig rig;
        // A profile before this one left the timer on.
        rig.timers.setEnabled(TimerId::SiteCheck, true);
        rig.journal.entries.clear();
        if (c.hasProfile) rig.addProfile(c.id, c.forbiddenList, c.sites);
        rig.use(c.id);
        EXPECT_EQ(rig.timers.isEnabled(TimerId::SiteCheck), c.timerOn) << c.name;
        EXPECT_EQ(rig.enforcement->allowedList(), c.allowedList) << c.name;
        EXPECT_EQ(rig.journal.entries.front(), "timerSitiVietatiConsentiti off") << c.name << ": switched off first";
    }
}

// What each load tells the browsers' own policies.
struct PolicyRecorder final : core::BrowserPolicySink {
    std::vector<std::optional<core::PolicySites>> told;
    void siteListInForce(const std::optional<core::PolicySites>& sites) override { told.push_back(sites); }
};

// However "no profile" came to be in use (a time slot's empty fallback, an
// IDProfiloInUso that reads as none), it blocks every page, in the browsers'
// policies too; only the shutdown's lifts everything.
TEST(Loaders, NoProfileBlocksEveryPageButAtTheShutdown) {
    test::EnforcementRig rig;
    PolicyRecorder policies;
    rig.enforcement->setBrowserPolicies(&policies);
    rig.use(0);
    EXPECT_TRUE(rig.timers.isEnabled(TimerId::SiteCheck));
    EXPECT_TRUE(rig.enforcement->allowedList());
    EXPECT_EQ(namesOf(rig.enforcement->processNames()),
              (std::vector<std::string>{"opera.exe", "safari.exe", "microsoftedge.exe"}));
    ASSERT_EQ(policies.told.size(), 1u);
    ASSERT_TRUE(policies.told[0].has_value()) << "the browsers were told of no list";
    EXPECT_TRUE(policies.told[0]->allowedList);
    EXPECT_TRUE(policies.told[0]->entries.empty());

    rig.browsers.open(rig.browsers.chrome, "http://scuola.it/");
    rig.processes.start("opera.exe");
    rig.enforcement->tickSiteCheck();
    rig.enforcement->tickForbiddenProcesses();
    EXPECT_EQ(rig.entries("kill"), (std::vector<std::string>{"kill chrome.exe", "kill opera.exe"}));

    rig.enforcement->liftForShutdown();
    rig.use(0);
    EXPECT_FALSE(rig.timers.isEnabled(TimerId::SiteCheck));
    EXPECT_FALSE(rig.timers.isEnabled(TimerId::ForbiddenProcesses));
    EXPECT_EQ(policies.told.back(), std::nullopt) << "the browsers' policies are given back";
}

TEST(ProcessLoader, AddsBrowsersByInternalBrowserAndSiteTimer) {
    struct Case {
        const char* name;
        bool internalBrowser;
        std::vector<std::string> sites;  // a forbidden list: a non-empty one turns the site timer on
        std::vector<std::string> rows;
        std::vector<std::string> expected;  // nothing: the timer stays off
    };
    const Case cases[] = {
        {"nothing at all", false, {}, {}, {}},
        {"rows only", false, {}, {"Notepad.EXE", "calc.exe"}, {"Notepad.EXE", "calc.exe"}},
        {"site list enforced", false, {".a.it"}, {"x.exe"}, {"x.exe", "opera.exe", "safari.exe", "microsoftedge.exe"}},
        {"site list alone", false, {".a.it"}, {}, {"opera.exe", "safari.exe", "microsoftedge.exe"}},
        {"internal browser",
         true,
         {".a.it"},
         {"x.exe"},
         {"x.exe", "iexplore.exe", "firefox.exe", "opera.exe", "safari.exe", "chrome.exe", "microsoftedge.exe"}},
    };
    for (const auto& c : cases) {
        test::EnforcementRig rig;
        rig.addProfile(2, true, c.sites, c.rows);
        core::ProfileSwitches s;
        s.internalBrowser = c.internalBrowser;
        rig.use(2, s);
        EXPECT_EQ(rig.timers.isEnabled(TimerId::ForbiddenProcesses), !c.expected.empty()) << c.name;
        EXPECT_EQ(namesOf(rig.enforcement->processNames()), c.expected) << c.name;
    }
}

TEST(WindowLoader, AppendsDownloadClockAndSilentPromptsAndIsAlwaysOn) {
    test::EnforcementRig rig;
    rig.addProfile(2, true, {}, {}, {"Prompt dei comandi"});
    rig.host.schedule = true;
    core::ProfileSwitches s;
    s.blockDownloads = true;
    rig.use(2, s);
    EXPECT_TRUE(rig.timers.isEnabled(TimerId::CloseWindows));
    EXPECT_EQ(namesOf(rig.enforcement->windowTitles()),
              (std::vector<std::string>{"Prompt dei comandi", "Download", "Data e ora", "Proprietà - Data e ora",
                                        "_***_Ripristinare le pagine?", "_***_Estensioni non supportate disattivate",
                                        "_***_Restore pages?", "_***_Unsupported extensions disabled",
                                        "_***_¿Quieres restaurar las páginas?",
                                        "_***_Extensiones no admitidas inhabilitadas"}));

    test::EnforcementRig plain;
    plain.use(0);
    EXPECT_TRUE(plain.timers.isEnabled(TimerId::CloseWindows)) << "even with no profile";
    EXPECT_EQ(namesOf(plain.enforcement->windowTitles()).size(), 6u);
}

TEST(Loaders, ProcessListSeesTheSiteTimerOfTheSameSequence) {
    test::EnforcementRig rig;
    rig.addProfile(2, true, {".a.it"});
    rig.addProfile(3, true, {});
    rig.use(2);
    EXPECT_EQ(namesOf(rig.enforcement->processNames()).size(), 3u);
    // The next profile has no site list: its site loader switches the timer
    // off before the process loader looks.
    rig.use(3);
    EXPECT_FALSE(rig.timers.isEnabled(TimerId::ForbiddenProcesses));
    EXPECT_EQ(namesOf(rig.enforcement->processNames()).size(), 0u);
}

// A store that cannot be read never makes a forbidden page allowed: the
// lists loaded last stay in force (at start, every page is blocked), and the
// administrator hears of it once.
TEST(Loaders, AnUnreadableStoreFailsClosedAndSaysSo) {
    struct Damage {
        const char* name;
        std::function<void(core::Database&)> apply;
    };
    const Damage damages[] = {
        {"closed", [](core::Database& db) { db.close(); }},
        {"no site table", [](core::Database& db) { ASSERT_TRUE(db.exec("DROP TABLE SitiVietatiConsentiti;")); }},
        {"no profile table", [](core::Database& db) { ASSERT_TRUE(db.exec("DROP TABLE Profili;")); }},
    };
    for (const Damage& d : damages) {
        SCOPED_TRACE(d.name);
        {  // Loaded before: the forbidden list stays, and so do the names and titles.
            test::EnforcementRig rig;
            rig.addProfile(2, true, {".vietato.it"}, {"calc.exe"}, {"Prompt"});
            rig.use(2);
            d.apply(rig.db);
            rig.use(2);
            rig.use(2);
            ASSERT_EQ(rig.enforcement->sites().size(), 1u);
            EXPECT_FALSE(rig.enforcement->allowedList());
            EXPECT_TRUE(rig.timers.isEnabled(core::TimerId::SiteCheck));
            EXPECT_TRUE(rig.timers.isEnabled(core::TimerId::ForbiddenProcesses));
            EXPECT_EQ(rig.enforcement->processNames().front(), "calc.exe");
            EXPECT_EQ(rig.enforcement->windowTitles().front(), "Prompt");
            EXPECT_EQ(rig.host.storeErrors.size(), 1u) << "once, not once a list or a load";
            EXPECT_TRUE(verdictAsChrome(rig.enforcement->sites(), rig.enforcement->allowedList(),
                                        "https://www.vietato.it/")
                            .blocked);
        }
        {  // Nothing loaded yet: every page is blocked.
            test::EnforcementRig rig;
            rig.addProfile(2, true, {".vietato.it"});
            d.apply(rig.db);
            rig.use(2);
            EXPECT_TRUE(rig.enforcement->allowedList());
            EXPECT_TRUE(rig.timers.isEnabled(core::TimerId::SiteCheck));
            EXPECT_TRUE(verdictAsChrome(rig.enforcement->sites(), true, "https://www.altro.it/").blocked);
            ASSERT_EQ(rig.host.storeErrors.size(), 1u);
            EXPECT_FALSE(rig.host.storeErrors[0].empty());
        }
    }
}

// Another process holds the store's write lock (an administrator's SQLite
// shell, a backup) while the lists load: a short hold is waited out; a long
// one leaves the lists in force, told once, and the next load reads anew.
TEST(Loaders, AStoreLockedElsewhereIsWaitedForOrLeavesTheListsInForce) {
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
        return std::string(rig.enforcement->sites().entry(0)) + " " + rig.enforcement->processNames().front();
    };

    core::Database other;
    ASSERT_TRUE(other.open(file));
    ASSERT_TRUE(other.exec("BEGIN EXCLUSIVE;"));
    rig.db.setBusyTimeout(50);  // the wait's length is the engine's; only its end matters here
    rig.use(3);
    EXPECT_EQ(inForce(), ".vietato.it calc.exe");
    EXPECT_EQ(rig.host.storeErrors.size(), 1u);
    ASSERT_TRUE(other.exec("COMMIT;"));

    ASSERT_TRUE(rig.db.open(file));  // the program's own wait again
    std::promise<void> locked;
    std::thread holder([&] {
        core::Database o;
        const bool held = o.open(file) && o.exec("BEGIN EXCLUSIVE;");
        locked.set_value();
        if (!held) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        (void)o.exec("COMMIT;");
    });
    locked.get_future().wait();
    rig.use(3);
    holder.join();
    EXPECT_EQ(inForce(), ".altro.it notepad.exe") << "the load waited for the lock";
    EXPECT_EQ(rig.host.storeErrors.size(), 1u);
}

// A site entry is enforced whole: cut to the column's width, an allowed
// entry would let more through. A forbidden name or title cut so only
// forbids more, and is cut.
TEST(Loaders, SiteEntriesAreReadWholeNamesAndTitlesCutToTheColumnWidth) {
    test::EnforcementRig rig;
    const std::string page = "http://example.org/" + std::string(300, 'k');
    rig.addProfile(2, false, {page}, {std::string(300, 'p') + ".exe"}, {std::string(300, 't')});
    rig.use(2);
    ASSERT_EQ(rig.enforcement->sites().size(), 1u);
    EXPECT_EQ(rig.enforcement->sites().entry(0), page);
    EXPECT_TRUE(verdictAsChrome(rig.enforcement->sites(), true, page.substr(0, 255) + "x").blocked);
    EXPECT_EQ(rig.enforcement->processNames().front().size(), 255u);
    EXPECT_EQ(rig.enforcement->windowTitles().front().size(), 255u);
}

// A NUL in a stored entry (another tool wrote it) would end a C string
// early: "http://\0a\0.\0i\0t" read so is "http://", which matches every
// address. Such a list is never enforced shorter: it reads as damaged, so
// the lists loaded last stay (at start every page is blocked) and the
// administrator is told.
TEST(Loaders, AnEntryHoldingANulIsNeverEnforcedAsAShorterOne) {
    const std::string utf16Entry("http://\0a\0.\0i\0t", 14);
    for (const bool forbidden : {false, true}) {
        SCOPED_TRACE(forbidden ? "forbidden list" : "allowed list");
        {  // At start: every page is blocked.
            test::EnforcementRig rig;
            rig.addProfile(2, forbidden, {".scuola.it", utf16Entry});
            rig.use(2);
            EXPECT_TRUE(verdictAsChrome(rig.enforcement->sites(), rig.enforcement->allowedList(),
                                        "https://altro.example/")
                            .blocked);
            EXPECT_TRUE(rig.timers.isEnabled(TimerId::SiteCheck));
            ASSERT_EQ(rig.host.storeErrors.size(), 1u);
            EXPECT_NE(rig.host.storeErrors[0].find("NUL"), std::string::npos) << rig.host.storeErrors[0];
        }
        {  // After a good list: that list stays.
            test::EnforcementRig rig;
            rig.addProfile(2, true, {".vietato.it"});
            rig.addProfile(3, forbidden, {utf16Entry});
            rig.use(2);
            rig.use(3);
            ASSERT_EQ(rig.enforcement->sites().size(), 1u);
            EXPECT_EQ(rig.enforcement->sites().entry(0), ".vietato.it");
            EXPECT_EQ(rig.host.storeErrors.size(), 1u);
        }
    }
}

}  // namespace
}  // namespace ombrix::enforce
