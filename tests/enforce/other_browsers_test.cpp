// The browsers found by what they show, judged by the site timer on a
// scripted machine: as Chrome is, named in the notice, and ended after a
// grace when their address cannot be read where the list needs it.
#include <gtest/gtest.h>

#include "enforce/enforcement.h"
#include "fakes/fake_enforcement.h"
#include "platform/failures.h"

namespace ombrix::enforce {
namespace {

using Entries = std::vector<std::string>;

struct OtherBrowsers {
    explicit OtherBrowsers(bool forbiddenList, bool maxProtection = false) {
        rig.addProfile(2, forbiddenList, {forbiddenList ? "*casino" : "scuola.it"});
        core::ProfileSwitches s;
        s.maxProtection = maxProtection;
        rig.use(2, s);
        rig.journal.entries.clear();
    }
    test::EnforcementRig rig;
};

TEST(OtherBrowser, IsJudgedAsChromeAndTheNoticeNamesTheProgram) {
    OtherBrowsers forbidden(true);
    forbidden.rig.browsers.openOther({"pippo.exe", "pippo.exe (brave.exe)", false, true, false}, "http://x.org/?q=casino")
        .afterClose = {"http://scuola.it/"};
    forbidden.rig.enforcement->tickSiteCheck();
    EXPECT_EQ(forbidden.rig.entries("ctrl+w"), Entries{"ctrl+w pippo.exe"});
    EXPECT_EQ(forbidden.rig.host.noticeTexts(), Entries{"T0180 http://x.org/?q=casino (pippo.exe (brave.exe))"});

    OtherBrowsers allowed(false);
    allowed.rig.browsers.openOther({"lupo.exe", "lupo.exe", true, true, false}, "http://altro.org/");
    allowed.rig.enforcement->tickSiteCheck();
    EXPECT_EQ(allowed.rig.entries("kill"), Entries{"kill lupo.exe"});
    EXPECT_EQ(allowed.rig.entries("clear firefox"), Entries{}) << "Firefox's saved session is Firefox's only";
}

TEST(OtherBrowser, IsLoggedByTheLogTimerOnce) {
    test::EnforcementRig rig;  // no profile in use: every page is logged
    rig.host.log = true;
    rig.browsers.openOther({"nav.exe", "nav.exe", false, true, false}, "http://scuola.it/");
    for (int i = 0; i < 3; ++i) rig.enforcement->tickSiteLog();
    EXPECT_EQ(rig.loggedUrls(), Entries{"http://scuola.it/"});
}

TEST(OtherBrowser, WhoseAddressCannotBeReadIsEndedAfterTheGraceWhereTheListNeedsIt) {
    struct Case {
        bool forbiddenList, maxProtection, ended;
    };
    for (const Case c : {Case{false, false, true}, Case{true, true, true}, Case{true, false, false}}) {
        OtherBrowsers o(c.forbiddenList, c.maxProtection);
        o.rig.browsers.openOther({"vivaldi.exe", "vivaldi.exe", false, false, false}, "");
        const std::uint64_t start = o.rig.clock.ms;
        o.rig.enforcement->tickSiteCheck();
        EXPECT_EQ(platform::recentFailures().back().what,
                  "a browser's address cannot be read, so its pages are not judged: vivaldi.exe");
        o.rig.clock.ms = start + SiteTimer::kUnreadableGraceMs - 1;
        o.rig.enforcement->tickSiteCheck();
        EXPECT_EQ(o.rig.entries("kill"), Entries{}) << "within the grace";
        o.rig.clock.ms = start + SiteTimer::kUnreadableGraceMs;
        o.rig.enforcement->tickSiteCheck();
        EXPECT_EQ(o.rig.entries("kill"), c.ended ? Entries{"kill vivaldi.exe"} : Entries{}) << c.forbiddenList;
        EXPECT_EQ(o.rig.host.noticeTexts(), c.ended ? Entries{"T0410 vivaldi.exe"} : Entries{});
    }
}

}  // namespace
}  // namespace ombrix::enforce
