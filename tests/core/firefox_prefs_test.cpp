#include "core/firefox_prefs.h"

#include <gtest/gtest.h>

#include "core/firefox_profile.h"
#include "fakes/fixtures.h"
#include "platform/files.h"

namespace ombrix::core {
namespace {

constexpr std::string_view kHome = kFirefoxHomePagePref;

TEST(FirefoxPrefs, LinesAreJoinedWithCrLfAndEarlierSettingsMadeComments) {
    struct Case {
        const char* name;
        std::string prefs;
        std::string expected;
    };
    const std::string set = std::string(kHome) + "\"http://new/\");";
    const Case cases[] = {
        {"LF, and a last line end", "a\nuser_pref(\"browser.startup.homepage\", \"x\");\n",
         "a\r\n//user_pref(\"browser.startup.homepage\", \"x\");\r\n" + set},
        {"CR LF kept, lone CR split", "a\r\nb\rc", "a\r\nb\r\nc\r\n" + set},
        {"a comment gains one more", "//user_pref(\"browser.startup.homepage\",\"y\");",
         "////user_pref(\"browser.startup.homepage\",\"y\");\r\n" + set},
        {"empty file", "", "\r\n" + set},
        {"other preferences untouched", "user_pref(\"browser.startup.page\", 1);\r\n",
         "user_pref(\"browser.startup.page\", 1);\r\n" + set},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(commentOutAndAppend(c.prefs, {kHome}, {set}), c.expected) << c.name;
    }
}

class FirefoxProfileFolder : public ::testing::Test {
protected:
    FirefoxProfileFolder() {
        // profiles.ini names the folder with "/", as Firefox writes it.
        test::writeFile(pathToUtf8(dir.path() / "Mozilla" / "Firefox" / "profiles.ini"),
                        "[General]\r\nStartWithLastProfile=1\r\n\r\n[Profile0]\r\nPath=Profiles/k2.default\r\n");
        folder = PathProfiloFirefox(pathToUtf8(dir.path()));
        prefs = folder + "/prefs.js";
    }
    test::TempDir dir;
    std::string folder;
    std::string prefs;
};

TEST_F(FirefoxProfileFolder, EachApplicationAddsOneLineAndTheLastOneCounts) {
    test::writeFile(prefs, "// Mozilla User Preferences\r\nuser_pref(\"browser.startup.homepage\", \"http://own/\");\r\n");
    EXPECT_EQ(HomePageFirefox(folder), "http://own/");
    ASSERT_TRUE(ImpostaPaginaInizialeFirefox(folder, "http://one/"));
    ASSERT_TRUE(ImpostaPaginaInizialeFirefox(folder, "http://two/"));
    EXPECT_EQ(*readWholeFile(prefs),
              "// Mozilla User Preferences\r\n"
              "////user_pref(\"browser.startup.homepage\", \"http://own/\");\r\n"
              "//user_pref(\"browser.startup.homepage\",\"http://one/\");\r\n"
              "user_pref(\"browser.startup.homepage\",\"http://two/\");");
    EXPECT_EQ(HomePageFirefox(folder), "http://two/");

    ASSERT_TRUE(ClearFirefoxHomePage(folder));
    EXPECT_EQ(HomePageFirefox(folder), "") << "Firefox's own default counts again";

    ASSERT_TRUE(DisattivaTabsWarnOnCloseFirefox(folder));
    const std::string text = *readWholeFile(prefs);
    EXPECT_NE(text.find("\r\nuser_pref(\"browser.tabs.warnOnClose\",false);\r\n"
                        "user_pref(\"browser.tabs.remote.autostart\",false);\r\n"
                        "user_pref(\"browser.tabs.remote.autostart.2\",false);\r\n"
                        "user_pref(\"browser.sessionstore.resume_from_crash\",false);"),
              std::string::npos);
}

TEST_F(FirefoxProfileFolder, AMissingPrefsFileIsNeverMade) {
    EXPECT_FALSE(ImpostaPaginaInizialeFirefox(folder, "http://one/"));
    EXPECT_FALSE(DisattivaTabsWarnOnCloseFirefox(folder));
    EXPECT_EQ(HomePageFirefox(folder), "");
    EXPECT_FALSE(fileSize(prefs));
    EXPECT_FALSE(ImpostaPaginaInizialeFirefox("", "http://one/")) << "no Firefox at all";
}

}  // namespace
}  // namespace ombrix::core
