#include "core/browser_switches.h"
#include "core/profile_switches.h"
#include <gtest/gtest.h>
#include "core/settings_reg.h"
#include "core/store.h"
#include "fakes/fixtures.h"
#include "platform/file_registry.h"

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

using platform::RegRoot;

// Where the user's own settings kept the switches, which a pupil's "reg add" reaches.
const std::string kUserSettings = programSettingsKey(kProgramTitle, "Settings");

TEST(BrowserSwitches, TheStoreHoldsThemAndAPupilsOwnSettingLiftsNone) {
    Database store = test::deliveredStore();
    platform::FileRegistry registry;
    EXPECT_FALSE(browserSwitchOn(store, kNoPopup)) << "never set is off";
    ASSERT_TRUE(setBrowserSwitch(store, kNoPopup, true));
    registry.writeString(RegRoot::CurrentUser, kUserSettings, "NoPopup", "False");
    EXPECT_TRUE(browserSwitchOn(store, kNoPopup) && !browserSwitchOn(store, kNoPrint));
    EXPECT_EQ(store.scalar("SELECT NoPopup FROM Opzioni;"), Value(kTrue));
    ASSERT_TRUE(store.exec("ALTER TABLE Opzioni DROP COLUMN NoStampa;"));  // a switch that cannot be read stays on
    EXPECT_TRUE(browserSwitchOn(store, kNoPrint) && !setBrowserSwitch(store, kNoPrint, false));
    store.close();
    EXPECT_TRUE(browserSwitchOn(store, kNoPopup));
}

// The user's old values come over with the columns, and only then.
TEST(BrowserSwitches, TheUpgradeThatAddsThemCarriesTheUsersOldValuesOver) {
    const std::tuple<std::optional<std::string>, std::optional<std::string>, Value, Value> cases[] = {  // set, then stored
        {"True", "False", Value(kTrue), Value(0)}, {"true", std::nullopt, Value(0), Value::null()},
        {std::nullopt, std::nullopt, Value::null(), Value::null()},
    };
    for (const auto& [popup, print, storedPopup, storedPrint] : cases) {
        SCOPED_TRACE(popup.value_or("-") + " " + print.value_or("-"));
        platform::FileRegistry registry;
        if (popup) registry.writeString(RegRoot::CurrentUser, kUserSettings, "NoPopup", *popup);
        if (print) registry.writeString(RegRoot::CurrentUser, kUserSettings, "NoStampa", *print);
        Database db = test::oldestStore();
        ASSERT_TRUE(upgradeToCurrentStructure(db, browserSwitchesFromUserSettings(registry)).changed());
        EXPECT_EQ(db.scalar("SELECT NoPopup FROM Opzioni;"), storedPopup);
        EXPECT_EQ(db.scalar("SELECT NoStampa FROM Opzioni;"), storedPrint);
        registry.writeString(RegRoot::CurrentUser, kUserSettings, "NoPopup", "True");
        EXPECT_FALSE(upgradeToCurrentStructure(db, browserSwitchesFromUserSettings(registry)).changed());
        EXPECT_EQ(db.scalar("SELECT NoPopup FROM Opzioni;"), storedPopup) << "read once, when the column came";
    }
}
}  // namespace
}  // namespace ombrix::core
