#include "machine/firefox_prefs.h"

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "machine/firefox_profile.h"
#include "platform/files.h"

namespace ombrix::core {
namespace {

TEST(FirefoxPrefs, LinesAreJoinedWithCrLfAndEarlierSettingsMadeComments) {
    const std::string set = std::string(kFirefoxHomePagePref) + "\"http://new/\");";
    const std::pair<std::string, std::string> cases[] = {
        {"a\nuser_pref(\"browser.startup.homepage\", \"x\");\n",
         "a\r\n//user_pref(\"browser.startup.homepage\", \"x\");\r\n" + set},
        {"a\r\nb\rc", "a\r\nb\r\nc\r\n" + set},
        {"//user_pref(\"browser.startup.homepage\",\"y\");", "////user_pref(\"browser.startup.homepage\",\"y\");\r\n" + set},
    };
    for (const auto& [prefs, expected] : cases) {
        EXPECT_EQ(commentOutAndAppend(prefs, {kFirefoxHomePagePref}, {set}), expected) << prefs;
    }
}

TEST(FirefoxPrefs, EachApplicationAddsOneLineAndAMissingFileIsNeverMade) {
    test::TempDir dir;
    // profiles.ini names the folder with "/", as Firefox writes it.
    test::writeFile(pathToUtf8(dir.path() / "Mozilla" / "Firefox" / "profiles.ini"), "[Profile0]\r\nPath=Profiles/k2.default\r\n");
    const std::string folder = firefoxProfilePath(pathToUtf8(dir.path()));
    EXPECT_FALSE(setFirefoxHomePage(folder, "http://one/"));
    EXPECT_FALSE(fileSize(folder + "/prefs.js")) << "no prefs.js, no Firefox set up: nothing is made";

    test::writeFile(folder + "/prefs.js", "// Mozilla\r\nuser_pref(\"browser.startup.homepage\", \"http://own/\");\r\n");
    EXPECT_EQ(HomePageFirefox(folder), "http://own/");
    ASSERT_TRUE(setFirefoxHomePage(folder, "http://one/"));
    ASSERT_TRUE(setFirefoxHomePage(folder, "http://two/"));
    EXPECT_EQ(*readWholeFile(folder + "/prefs.js"),
              "// Mozilla\r\n////user_pref(\"browser.startup.homepage\", \"http://own/\");\r\n"
              "//user_pref(\"browser.startup.homepage\",\"http://one/\");\r\n"
              "user_pref(\"browser.startup.homepage\",\"http://two/\");");
    EXPECT_EQ(HomePageFirefox(folder), "http://two/");
    ASSERT_TRUE(ClearFirefoxHomePage(folder));
    EXPECT_EQ(HomePageFirefox(folder), "") << "Firefox's own default counts again";
}

}  // namespace
}  // namespace ombrix::core
