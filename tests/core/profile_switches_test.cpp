#include "core/profile_switches.h"
#include <gtest/gtest.h>
#include "fakes/fixtures.h"

namespace ombrix::core {
namespace {
TEST(ProfileSwitches, ReadsEverySwitchAndNullsAsOff) {
    Database db = test::deliveredStore();
    ASSERT_TRUE(db.exec(
        "INSERT INTO Profili VALUES (2, 'Chiosco', 'Stampante 1', '  http://scuola.example  ', -1, 0, -1, 0, -1, 0, "
        "-1, -1, 0);"
        "INSERT INTO Profili (IDProfilo, Profilo) VALUES (3, 'Tutto nullo'), (4, 'Vuota');"
        "UPDATE Profili SET PaginaPredefinita = '   ' WHERE IDProfilo = 4;"));
    const AppliedProfile full = readProfileSwitches(db, 2);
    const ProfileSwitches& s = full.switches;
    EXPECT_EQ(s.printer + "|" + s.homePage, "Stampante 1|  http://scuola.example  ");
    EXPECT_EQ((std::vector<bool>{s.blockDownloads, s.kiosk, s.startDisabled, s.internalBrowser,
                                 s.hideMessages, s.maxProtection, s.fullScreen}),
              (std::vector<bool>{true, true, false, true, false, true, true}));
    EXPECT_TRUE(full.homePagePending);
    // Nulls, a profile that is not there, and a blank home page.
    for (long long id : {3LL, 0LL, 99LL, 4LL}) {
        const AppliedProfile none = readProfileSwitches(db, id);
        EXPECT_FALSE(none.switches.kiosk || none.switches.blockDownloads || none.homePagePending) << id;
    }
}
}  // namespace
}  // namespace ombrix::core
