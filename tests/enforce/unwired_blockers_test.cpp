#include "enforce/unwired_blockers.h"

#include <gtest/gtest.h>

#include "fakes/fake_enforcement.h"

namespace ombrix::enforce {
namespace {

using Entries = std::vector<std::string>;

TEST(UnwiredBlockers, KeptButCalledByNoTimer) {
    test::EnforcementRig rig;
    rig.addProfile(2, false, {".scuola.it"});
    rig.use(2);
    rig.browsers.dde = {{"Opera", "http://video.example/"}, {"Chrome", "http://scuola.it/"}};
    rig.enforcement->tickSitiVietatiConsentiti();
    EXPECT_EQ(rig.host.notices.size(), 0u) << "Opera is not looked at by the timer";
    rig.enforcement->unwired().BloccaSitiDaElencoConsentitiOpera();
    EXPECT_EQ(rig.host.notices.back().text, "T0186 http://video.example/");
    EXPECT_EQ(rig.enforcement->unwired().TitoloChrome(), "http://scuola.it/");

    test::EnforcementRig forbidden;
    forbidden.addProfile(2, true, {".video.example", "*film"});
    forbidden.use(2);
    forbidden.browsers.dde = {{"Opera", "http://video.example/film"}};
    forbidden.enforcement->unwired().BloccaSitiDaElencoVietatiOpera();
    forbidden.browsers.dde = {{"Opera", "http://altro.example/film"}};
    forbidden.enforcement->unwired().BloccaSitiDaElencoVietatiOpera();
    ASSERT_EQ(forbidden.host.notices.size(), 2u);
    EXPECT_EQ(forbidden.host.notices[0].text, "T0184 http://video.example/film") << "a site";
    EXPECT_EQ(forbidden.host.notices[1].text, "T0185 http://altro.example/film") << "a keyword";

    rig.browsers.open(rig.browsers.chrome, "http://video.example/");
    rig.enforcement->unwired().BloccaSitiDaElencoConsentitiChromeIndietro();
    EXPECT_EQ(rig.keyboard.events, (std::vector<std::pair<int, std::uint32_t>>{{18, 0}, {37, 1}, {37, 3}, {18, 2}}))
        << "Alt+Left, back one page";
    EXPECT_EQ(rig.entries("kill"), Entries{});

    rig.keyboard.events.clear();
    rig.enforcement->unwired().BloccaSitiDaElencoConsentitiChromeOLD();
    EXPECT_EQ(rig.entries("ctrl+w").size(), 2u);
    EXPECT_EQ(rig.entries("kill"), Entries{"kill chrome.exe"}) << "the old one closed, retried, then killed";
}

}  // namespace
}  // namespace ombrix::enforce
