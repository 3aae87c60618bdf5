// The site timer and its blockers, driven on a scripted machine.
#include <gtest/gtest.h>

#include "enforce/enforcement.h"
#include "fakes/fake_enforcement.h"
#include "platform/failures.h"

namespace ombrix::enforce {
namespace {

using Entries = std::vector<std::string>;

// Profile 2 in use with the given list, start page "http://scuola.it/".
struct Sites {
    explicit Sites(bool forbiddenList, Entries list = {}, bool maxProtection = false) {
        if (list.empty()) list = forbiddenList ? Entries{"*casino", "giochi.it", ".poker.com"} : Entries{".scuola.it"};
        rig.addProfile(2, forbiddenList, list);
        auto s = test::switches(&core::ProfileSwitches::maxProtection, maxProtection);
        s.homePage = "http://scuola.it/";
        rig.use(2, s);
        rig.journal.entries.clear();
    }
    test::EnforcementRig rig;
    Enforcement& e = *rig.enforcement;
    Holders& held = e.holders();
    SiteTimer& sites = e.siteTimer();
    test::FakeBrowsers::Browser& chrome = rig.browsers.chrome;
    const std::vector<test::FakeHost::Notice>& notices = rig.host.notices;
};

TEST(ForbiddenList, APageThatSurvivesBothClosesKillsEveryChrome) {
    Sites t(true);
    t.rig.browsers.open(t.chrome, "\"http://poker.com/tavolo\"");
    t.rig.processes.start("CHROME.EXE");
    t.sites.blockForbiddenInChrome();
    EXPECT_EQ(t.rig.entries("ctrl+w").size(), 2u);
    EXPECT_EQ(t.rig.entries("kill"), (Entries{"kill chrome.exe", "kill CHROME.EXE"}));
    EXPECT_EQ(t.rig.host.noticeTexts(), (Entries{"T0182 http://poker.com/tavolo", "T0182 http://poker.com/tavolo"}))
        << "quotes removed from the notice";
    EXPECT_EQ(t.notices[1].kind, kNoticeSite);
    EXPECT_EQ(t.rig.host.opened, Entries{}) << "no page passed before";
}

// Closing the keyword page brings up another forbidden page, which the later
// entries still catch in the same tick; the entry before does not.
TEST(ForbiddenList, TheWalkGoesOnAgainstTheAddressReadAgain) {
    Sites t(true);
    t.rig.browsers.open(t.chrome, "http://x.org/?q=casino");
    t.chrome.afterClose = {"http://poker.com/", "http://www.giochi.it/"};
    t.sites.blockForbiddenInChrome();
    EXPECT_EQ(t.rig.host.noticeTexts(), (Entries{"T0180 http://x.org/?q=casino", "T0182 http://poker.com/"}));
    EXPECT_EQ(t.held.chromeAddress, "http://www.giochi.it/");
}

TEST(ForbiddenList, APassingPageBecomesItsBrowsersLastAcceptedAndIsLoggedOnce) {
    Sites t(true);
    t.rig.host.log = true;
    t.rig.browsers.open(t.rig.browsers.edge, "https://scuola.it/");
    t.rig.browsers.open(t.chrome, "http://scuola.it/compiti");
    for (int i = 0; i < 3; ++i) t.e.tickSiteCheck();
    EXPECT_EQ(t.held.chromeLastAccepted, "http://scuola.it/compiti");
    EXPECT_EQ(t.rig.loggedUrls(), (Entries{"http://scuola.it/compiti", "https://scuola.it/"}));
    EXPECT_EQ(t.rig.entries("ctrl+w"), Entries{});
    t.rig.host.log = false;
    t.chrome.address = "http://scuola.it/orari"; t.e.tickSiteCheck();
    EXPECT_EQ(t.rig.loggedUrls().size(), 2u) << "log switched off";
    EXPECT_EQ(t.held.chromeLastLogged, "http://scuola.it/orari") << "remembered, logged or not";
    t.rig.browsers.edge.address = "https://poker.com/";
    t.rig.browsers.edge.afterClose = {""};
    t.sites.blockForbiddenInEdge();
    EXPECT_EQ(t.rig.host.opened, Entries{"https://scuola.it/"});
    EXPECT_EQ(t.held.chromeLastAccepted, "http://scuola.it/orari") << "another browser is not touched";
}

TEST(ForbiddenList, FirefoxIsTrimmedAndItsSessionClearedAfterTheKill) {
    Sites t(true);
    t.rig.browsers.open(t.rig.browsers.firefox, "  https://giochi.it/  ");
    t.sites.blockForbiddenInFirefox();
    EXPECT_EQ(t.rig.journal.find("clear firefox session"), t.rig.journal.find("kill firefox.exe") + 1);
    EXPECT_EQ(t.notices.at(0).text, "T0181 https://giochi.it/");
    EXPECT_EQ(t.held.firefoxAddress, "https://giochi.it/") << "read again just before the kill";
}

TEST(ForbiddenList, MaximumProtectionClosesWindowsWhoseTitleHoldsAKeyword) {
    Sites t(true, {}, true);
    t.rig.windows.add("  Il mio CASINO  ");
    t.rig.windows.add("giochi.it - Poker.com");
    t.e.tickSiteCheck();
    EXPECT_EQ(t.rig.entries("close"), Entries{"close   Il mio CASINO  "}) << "keywords only";
    EXPECT_EQ(t.rig.host.noticeTexts(), Entries{"T0137 Il mio CASINO"});
    EXPECT_EQ(t.notices[0].kind, kNoticeWindow);
}

TEST(InternetExplorer, WindowsGoBackUnlessExemptOrAllowedByTheirTitle) {
    Sites forbidden(true);
    forbidden.rig.browsers.shell = {{"http://a.org/", "Casino online"}, {"about:blank", "casino"},
                                    {"https://blocked.ombrix.example/web?casino", "casino"},
                                    {"http://giochi.it/x", ""}, {"http://scuola.it/", "Scuola"}};
    forbidden.sites.blockForbiddenInExplorer();
    EXPECT_EQ(forbidden.rig.entries("back"), (Entries{"back 0", "back 3"}));
    EXPECT_EQ(forbidden.rig.host.noticeTexts(), (Entries{"T0172 http://a.org/", "T0172 http://giochi.it/x"}));
    Sites allowed(false, {".scuola.it", "*compiti"});
    allowed.rig.browsers.shell = {{"http://video.example/", "I compiti di oggi"}, {"http://video.example/", "Film"}};
    allowed.sites.blockUnlistedInExplorer();
    EXPECT_EQ(allowed.rig.entries("back"), Entries{"back 1"});
    EXPECT_EQ(allowed.rig.host.noticeTexts(), Entries{"T0173 http://video.example/"});
}

TEST(InternetExplorer, TheListOfWindowsKillsAndOpensTheStartPage) {
    Sites t(true);
    t.rig.processes.start("iexplore.exe", 2);
    t.rig.browsers.shellList = "1§http://scuola.it/|2§http://poker.com/|";
    t.sites.blockForbiddenInExplorerWindows();
    EXPECT_EQ(t.rig.entries("kill"), (Entries{"kill iexplore.exe", "kill iexplore.exe", "kill iexplore.exe"}));
    EXPECT_EQ(t.rig.host.noticeTexts(), Entries{"T0172 http://poker.com/"});
    EXPECT_EQ(t.rig.host.opened, Entries{"http://scuola.it/"});
    t.rig.journal.entries.clear();
    t.rig.browsers.shellList = "1§http://poker.com/|2§http://scuola.it/|";
    t.sites.blockForbiddenInExplorerWindows();
    EXPECT_EQ(t.rig.entries("kill"), Entries{}) << "only the last window's address counts";
}

TEST(ForbiddenList, ATickIsNotEnteredAgainFromInsideItself) {
    Sites t(true);
    t.rig.browsers.open(t.chrome, "http://scuola.it/");
    t.rig.pump.during = [&] { t.e.tickSiteCheck(); };  // each nested tick would nest another
    t.e.tickSiteCheck();
    EXPECT_EQ(t.rig.entries("read chrome.exe").size(), 1u);
}

TEST(AllowedList, AnAddressOutsideTheListKillsTheBrowserWithoutCtrlW) {
    Sites t(false);
    t.rig.host.log = true;
    t.rig.browsers.open(t.chrome, "http://www.scuola.it/orari");
    t.e.tickSiteCheck();
    t.chrome.address = "https://video.example/"; t.e.tickSiteCheck();
    EXPECT_EQ(t.rig.entries("ctrl+w"), Entries{});
    EXPECT_EQ(t.rig.entries("kill"), Entries{"kill chrome.exe"});
    EXPECT_EQ(t.rig.host.noticeTexts(), Entries{"T0182 https://video.example/"});
    EXPECT_EQ(t.rig.host.opened, Entries{"http://www.scuola.it/orari"});
    EXPECT_EQ(t.rig.loggedUrls(), Entries{"http://www.scuola.it/orari"}) << "a refused page is not logged";
    t.rig.browsers.open(t.chrome, "https://altro.example/"); t.e.tickSiteCheck();
    EXPECT_EQ(t.rig.host.opened.back(), "http://scuola.it/") << "nothing passed since: the start page";
}

TEST(AllowedList, BuiltInPagesAreExempt) {
    Sites t(false);
    for (const char* page : {"about:blank", "\"About:NewTab\""}) t.rig.browsers.open(t.rig.browsers.firefox, page), t.e.tickSiteCheck();
    EXPECT_EQ(t.rig.entries("kill"), Entries{});
    t.rig.browsers.firefox.address = "about:config"; t.e.tickSiteCheck();
    EXPECT_EQ(t.rig.entries("kill").size(), 2u) << "every Firefox";
}

// Browsers found by what they show: judged as Chrome is, named in the notice,
// ended after a grace when their address cannot be read where the list needs it.
TEST(OtherBrowser, IsJudgedAsChromeLoggedOnceAndTheNoticeNamesTheProgram) {
    Sites forbidden(true);
    forbidden.rig.host.log = true;
    forbidden.rig.browsers.openOther({"pippo.exe", "pippo.exe (brave.exe)", false, true, false}, "http://x.org/?q=casino")
        .afterClose = {"http://scuola.it/"};
    forbidden.e.tickSiteCheck();
    for (int i = 0; i < 2; ++i) forbidden.e.tickSiteLog();
    EXPECT_EQ(forbidden.rig.entries("ctrl+w"), Entries{"ctrl+w pippo.exe"});
    EXPECT_EQ(forbidden.rig.host.noticeTexts(), Entries{"T0180 http://x.org/?q=casino (pippo.exe (brave.exe))"});
    EXPECT_EQ(forbidden.rig.loggedUrls(), Entries{"http://scuola.it/"});
    Sites allowed(false);
    allowed.rig.browsers.openOther({"lupo.exe", "lupo.exe", true, true, false}, "http://altro.org/");
    allowed.e.tickSiteCheck();
    EXPECT_EQ(allowed.rig.entries("kill"), Entries{"kill lupo.exe"});
    EXPECT_EQ(allowed.rig.entries("clear firefox"), Entries{}) << "Firefox's saved session is Firefox's only";
}

TEST(OtherBrowser, WhoseAddressCannotBeReadIsEndedAfterTheGraceWhereTheListNeedsIt) {
    const std::tuple<bool, bool, bool> cases[] = {{false, false, true}, {true, true, true}, {true, false, false}};
    for (const auto& [forbiddenList, maxProtection, ended] : cases) {
        Sites t(forbiddenList, {forbiddenList ? "*casino" : "scuola.it"}, maxProtection);
        t.rig.browsers.openOther({"vivaldi.exe", "vivaldi.exe", false, false, false}, "");
        const std::uint64_t start = t.rig.clock.ms;
        t.e.tickSiteCheck();
        EXPECT_EQ(platform::recentFailures().back().what,
                  "a browser's address cannot be read, so its pages are not judged: vivaldi.exe");
        t.rig.clock.ms = start + SiteTimer::kUnreadableGraceMs - 1; t.e.tickSiteCheck();
        EXPECT_EQ(t.rig.entries("kill"), Entries{}) << "within the grace";
        t.rig.clock.ms = start + SiteTimer::kUnreadableGraceMs; t.e.tickSiteCheck();
        EXPECT_EQ(t.rig.entries("kill"), ended ? Entries{"kill vivaldi.exe"} : Entries{}) << forbiddenList;
        EXPECT_EQ(t.rig.host.noticeTexts(), ended ? Entries{"T0410 vivaldi.exe"} : Entries{});
    }
}

}  // namespace
}  // namespace ombrix::enforce
