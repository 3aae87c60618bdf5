#include "core/profile_switches.h"

#include <gtest/gtest.h>

#include "fakes/fixtures.h"

namespace ombrix::core {
namespace {

TEST(ProfileSwitches, ReadsEverySwitchAndNullsAsOff) {
    Database db = test::deliveredStore();
    ASSERT_TRUE(db.exec(
        "INSERT INTO Profili VALUES (2, 'Chiosco', 'Stampante 1', '  http://scuola.example  ', -1, 0, -1, 0, -1, 0, "
        "-1, -1);"
        "INSERT INTO Profili (IDProfilo, Profilo) VALUES (3, 'Tutto nullo');"));
    const AppliedProfile full = readProfileSwitches(db, 2);
    EXPECT_EQ(full.switches.stampantePredefinita, "Stampante 1");
    EXPECT_EQ(full.switches.paginaPredefinita, "  http://scuola.example  ");
    EXPECT_TRUE(full.switches.bloccaDownload);
    EXPECT_TRUE(full.switches.kiosk);
    EXPECT_FALSE(full.switches.tastoStartDisabilitato);
    EXPECT_TRUE(full.switches.utilizzaBrowserInterno);
    EXPECT_FALSE(full.switches.nascondiMessaggiNotifica);
    EXPECT_TRUE(full.switches.protezioneMassima);
    EXPECT_TRUE(full.switches.apriPaginaInizialeATuttoSchermo);
    EXPECT_TRUE(full.homePagePending);

    for (long long id : {3LL, 0LL, 99LL}) {
        const AppliedProfile none = readProfileSwitches(db, id);
        EXPECT_EQ(none.switches.paginaPredefinita, "") << id;
        EXPECT_FALSE(none.switches.kiosk) << id;
        EXPECT_FALSE(none.switches.bloccaDownload) << id;
        EXPECT_FALSE(none.homePagePending) << id;
    }
}

TEST(ProfileSwitches, BlankHomePageIsNotPending) {
    Database db = test::deliveredStore();
    ASSERT_TRUE(db.exec("UPDATE Profili SET PaginaPredefinita = '   ' WHERE IDProfilo = 1;"));
    EXPECT_FALSE(readProfileSwitches(db, 1).homePagePending);
}

TEST(ProfileSwitches, ProgramsAreTheirLastFourCharacters) {
    EXPECT_TRUE(homePageIsProgram("C:\\giochi\\avvia.bat"));
    EXPECT_TRUE(homePageIsProgram("calc.EXE"));
    EXPECT_FALSE(homePageIsProgram("http://example.org/setup.exe.html"));
    EXPECT_FALSE(homePageIsProgram("exe"));
}

}  // namespace
}  // namespace ombrix::core
