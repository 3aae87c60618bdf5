// The site timer and its blockers, driven on a scripted machine.
#include <gtest/gtest.h>

#include "enforce/enforcement.h"
#include "fakes/fake_enforcement.h"

namespace ombrix::enforce {
namespace {

using Entries = std::vector<std::string>;

// Profile 2 in use with the given list, start page "http://scuola.it/".
class ListTest : public ::testing::Test {
protected:
    ListTest(bool forbiddenList, const std::vector<std::string>& sites) {
        rig.addProfile(2, forbiddenList, sites);
        core::ProfileSwitches s;
        s.homePage = "http://scuola.it/";
        rig.use(2, s);
        rig.journal.entries.clear();
    }
    test::EnforcementRig rig;
    Enforcement& e() { return *rig.enforcement; }
    SiteTimer& sites() { return rig.enforcement->siteTimer(); }
};

class ForbiddenList : public ListTest {
protected:
    ForbiddenList() : ListTest(true, {"*casino", "giochi.it", ".poker.com"}) {}
};

TEST_F(ForbiddenList, APageGoneAfterTheFirstCtrlWIsNotFollowedByAKill) {
    rig.browsers.open(rig.browsers.chrome, "http://www.giochi.it/oggi");
    rig.browsers.chrome.afterClose = {"http://scuola.it/"};
    e().holders().chromeLastAccepted = "http://scuola.it/";
    sites().blockForbiddenInChrome();

    EXPECT_EQ(rig.keyboard.events, (std::vector<std::pair<int, std::uint32_t>>{{17, 1}, {87, 1}, {17, 3}, {87, 3}}))
        << "Ctrl down, W down, Ctrl up, W up";
    EXPECT_EQ(rig.entries("ctrl+w"), Entries{"ctrl+w chrome.exe"});
    EXPECT_EQ(rig.entries("kill"), Entries{});
    ASSERT_EQ(rig.host.notices.size(), 1u);
    EXPECT_EQ(rig.host.notices[0].text, "T0181 http://www.giochi.it/oggi");
    EXPECT_EQ(rig.host.opened, Entries{"http://scuola.it/"}) << "back to the last page that passed";
    EXPECT_EQ(e().holders().chromeLastAccepted, "");
    EXPECT_EQ(e().holders().closingAddress, "");
    EXPECT_EQ(e().holders().chromeAddress, "http://scuola.it/");
}

TEST_F(ForbiddenList, APageThatSurvivesBothClosesKillsEveryChrome) {
    rig.browsers.open(rig.browsers.chrome, "\"http://poker.com/tavolo\"");
    rig.processes.start("chrome.exe");
    rig.processes.start("CHROME.EXE");
    sites().blockForbiddenInChrome();

    EXPECT_EQ(rig.entries("ctrl+w").size(), 2u);
    EXPECT_EQ(rig.entries("kill"), (Entries{"kill chrome.exe", "kill chrome.exe", "kill CHROME.EXE"}));
    ASSERT_EQ(rig.host.notices.size(), 2u);
    EXPECT_EQ(rig.host.notices[1].text, "T0182 http://poker.com/tavolo") << "quotes removed from the notice";
    EXPECT_EQ(rig.host.notices[1].kind, kNoticeSite);
    EXPECT_EQ(rig.host.opened, Entries{}) << "no page passed before";
    EXPECT_EQ(e().holders().chromeLastAccepted, "") << "a closed page is never the last accepted one";
}

TEST_F(ForbiddenList, TheWalkGoesOnAgainstTheAddressReadAgain) {
    // Closing the keyword page brings up another forbidden page, which the
    // later entries still catch in the same tick; the entry before does not.
    rig.browsers.open(rig.browsers.chrome, "http://x.org/?q=casino");
    rig.browsers.chrome.afterClose = {"http://poker.com/", "http://www.giochi.it/"};
    sites().blockForbiddenInChrome();
    EXPECT_EQ(rig.host.noticeTexts(), (Entries{"T0180 http://x.org/?q=casino", "T0182 http://poker.com/"}));
    EXPECT_EQ(rig.entries("ctrl+w").size(), 2u);
    EXPECT_EQ(e().holders().chromeAddress, "http://www.giochi.it/");
}

TEST_F(ForbiddenList, APassingPageBecomesTheLastAcceptedAndIsLoggedOnce) {
    rig.host.log = true;
    rig.browsers.open(rig.browsers.chrome, "http://scuola.it/compiti");
    for (int i = 0; i < 5; ++i) e().tickSiteCheck();
    EXPECT_EQ(e().holders().chromeLastAccepted, "http://scuola.it/compiti");
    EXPECT_EQ(e().holders().chromeLastLogged, "http://scuola.it/compiti");
    EXPECT_EQ(rig.loggedUrls(), Entries{"http://scuola.it/compiti"});
    EXPECT_EQ(rig.keyboard.events.size(), 0u);

    rig.browsers.chrome.address = "http://scuola.it/voti";
    e().tickSiteCheck();
    rig.browsers.chrome.address = "http://scuola.it/compiti";
    e().tickSiteCheck();
    EXPECT_EQ(rig.loggedUrls(),
              (Entries{"http://scuola.it/compiti", "http://scuola.it/voti", "http://scuola.it/compiti"}));

    rig.host.log = false;
    rig.browsers.chrome.address = "http://scuola.it/orari";
    e().tickSiteCheck();
    EXPECT_EQ(rig.loggedUrls().size(), 3u) << "log switched off";
    EXPECT_EQ(e().holders().chromeLastLogged, "http://scuola.it/orari") << "remembered, logged or not";
}

TEST_F(ForbiddenList, FirefoxIsTrimmedAndItsSessionClearedAfterTheKill) {
    rig.browsers.open(rig.browsers.firefox, "  https://giochi.it/  ");
    sites().blockForbiddenInFirefox();
    const auto kill = rig.journal.find("kill firefox.exe");
    ASSERT_GE(kill, 0);
    EXPECT_EQ(rig.journal.find("clear firefox session"), kill + 1);
    EXPECT_EQ(rig.host.notices[0].text, "T0181 https://giochi.it/");
    EXPECT_EQ(e().holders().firefoxAddress, "https://giochi.it/") << "read again just before the kill";
}

TEST_F(ForbiddenList, EdgeKeepsItsOwnHolders) {
    rig.host.log = true;
    rig.browsers.open(rig.browsers.edge, "https://scuola.it/");
    rig.browsers.open(rig.browsers.chrome, "https://scuola.it/");
    e().tickSiteCheck();
    e().tickSiteCheck();
    EXPECT_EQ(e().holders().edgeLastAccepted, "https://scuola.it/");
    EXPECT_EQ(e().holders().edgeLastLogged, "https://scuola.it/");
    EXPECT_EQ(rig.loggedUrls().size(), 2u) << "one row per browser, not one per tick";

    rig.browsers.edge.address = "https://poker.com/";
    rig.browsers.edge.afterClose = {""};
    sites().blockForbiddenInEdge();
    EXPECT_EQ(rig.host.opened, Entries{"https://scuola.it/"});
    EXPECT_EQ(e().holders().chromeLastAccepted, "https://scuola.it/") << "another browser is not touched";
}

TEST_F(ForbiddenList, MaximumProtectionClosesWindowsWhoseTitleHoldsAKeyword) {
    core::ProfileSwitches s;
    s.maxProtection = true;
    rig.use(2, s);
    rig.windows.add("Casino Royale - Google Chrome");
    rig.windows.add("  Il mio CASINO  ");
    rig.windows.add("giochi.it - Poker.com");
    e().tickSiteCheck();
    EXPECT_EQ(rig.entries("close"), (Entries{"close Casino Royale - Google Chrome", "close   Il mio CASINO  "}))
        << "keywords only, against every top-level title";
    ASSERT_EQ(rig.host.notices.size(), 2u);
    EXPECT_EQ(rig.host.notices[1].text, "T0137 Il mio CASINO");
    EXPECT_EQ(rig.host.notices[1].kind, kNoticeWindow);
}

TEST_F(ForbiddenList, InternetExplorerWindowsGoBackUnlessExempt) {
    rig.browsers.shell = {{"http://a.org/", "Casino online"},
                          {"about:blank", "casino"},
                          {"https://blocked.ombrix.example/web?casino", "casino"},
                          {"http://giochi.it/x", ""},
                          {"http://scuola.it/", "Scuola"}};
    sites().blockForbiddenInExplorer();
    EXPECT_EQ(rig.entries("back"), (Entries{"back 0", "back 3"}));
    ASSERT_EQ(rig.host.notices.size(), 2u);
    EXPECT_EQ(rig.host.notices[0].text, "T0172 http://a.org/");
}

TEST_F(ForbiddenList, InternetExplorerListKillsAndOpensTheStartPage) {
    rig.processes.start("iexplore.exe", 2);
    rig.browsers.shellList = "1§http://scuola.it/|2§http://poker.com/|";
    sites().blockForbiddenInExplorerWindows();
    EXPECT_EQ(rig.entries("kill"), (Entries{"kill iexplore.exe", "kill iexplore.exe", "kill iexplore.exe"}));
    EXPECT_EQ(rig.host.notices[0].text, "T0172 http://poker.com/");
    EXPECT_EQ(rig.host.opened, Entries{"http://scuola.it/"});

    rig.journal.entries.clear();
    rig.browsers.shellList = "1§http://poker.com/|2§http://scuola.it/|";
    sites().blockForbiddenInExplorerWindows();
    EXPECT_EQ(rig.entries("kill"), Entries{}) << "only the last window's address counts";
}

TEST_F(ForbiddenList, ATickIsNotEnteredAgainFromInsideItself) {
    rig.browsers.open(rig.browsers.chrome, "http://scuola.it/");
    int nested = 0;
    rig.pump.during = [&] {
        if (nested++ < 3) e().tickSiteCheck();
    };
    e().tickSiteCheck();
    EXPECT_EQ(rig.entries("read chrome.exe").size(), 1u);
    rig.pump.during = nullptr;
    e().tickSiteCheck();
    EXPECT_EQ(rig.entries("read chrome.exe").size(), 2u) << "and runs again afterwards";
}

class AllowedList : public ListTest {
protected:
    AllowedList() : ListTest(false, {".scuola.it", "*compiti"}) {}
};

TEST_F(AllowedList, AnAddressOutsideTheListKillsTheBrowserWithoutCtrlW) {
    rig.host.log = true;
    rig.browsers.open(rig.browsers.chrome, "http://www.scuola.it/orari");
    e().tickSiteCheck();
    EXPECT_EQ(e().holders().chromeLastAccepted, "http://www.scuola.it/orari");

    rig.browsers.chrome.address = "https://video.example/";
    e().tickSiteCheck();
    EXPECT_EQ(rig.keyboard.events.size(), 0u);
    EXPECT_EQ(rig.entries("kill"), Entries{"kill chrome.exe"});
    EXPECT_EQ(rig.host.notices.back().text, "T0182 https://video.example/");
    EXPECT_EQ(rig.host.opened, Entries{"http://www.scuola.it/orari"});
    EXPECT_EQ(e().holders().chromeLastAccepted, "");
    EXPECT_EQ(rig.loggedUrls(), Entries{"http://www.scuola.it/orari"}) << "a refused page is not logged";

    rig.browsers.open(rig.browsers.chrome, "https://altro.example/");
    e().tickSiteCheck();
    EXPECT_EQ(rig.host.opened.back(), "http://scuola.it/") << "nothing passed since: the start page";
}

TEST_F(AllowedList, BuiltInPagesAreExempt) {
    for (const char* page : {"about:blank", "about:newtab,", "\"About:NewTab\"", "about:blank#x"}) {
        rig.browsers.open(rig.browsers.firefox, page);
        e().tickSiteCheck();
    }
    EXPECT_EQ(rig.entries("kill"), Entries{});
    EXPECT_EQ(rig.host.notices.size(), 0u);
    rig.browsers.firefox.address = "about:config";
    e().tickSiteCheck();
    EXPECT_EQ(rig.entries("kill").size(), 4u) << "every Firefox";
    EXPECT_TRUE(rig.journal.inOrder({"kill firefox.exe", "kill firefox.exe", "kill firefox.exe", "kill firefox.exe",
                                     "clear firefox session"}));
}

TEST_F(AllowedList, InternetExplorerWindowsWithAKeywordInTheTitlePass) {
    rig.browsers.shell = {{"http://video.example/", "I compiti di oggi"}, {"http://video.example/", "Film"}};
    sites().blockUnlistedInExplorer();
    EXPECT_EQ(rig.entries("back"), Entries{"back 1"});
    EXPECT_EQ(rig.host.notices.back().text, "T0173 http://video.example/");
}

TEST(EmptyAllowedList, BlocksEveryPageButTheExemptOnes) {
    test::EnforcementRig rig;
    rig.addProfile(2, false, {});
    rig.use(2);
    ASSERT_TRUE(rig.timers.isEnabled(core::TimerId::SiteCheck));
    rig.browsers.open(rig.browsers.chrome, "about:newtab");
    rig.enforcement->tickSiteCheck();
    EXPECT_EQ(rig.entries("kill"), Entries{});
    rig.browsers.chrome.address = "http://qualsiasi.it/";
    rig.enforcement->tickSiteCheck();
    EXPECT_EQ(rig.entries("kill"), Entries{"kill chrome.exe"});
    EXPECT_EQ(rig.host.opened, Entries{}) << "no start page, nothing to open";
}

}  // namespace
}  // namespace ombrix::enforce
